#ifndef KORVA_AUDIO_SELECTORS_H
#define KORVA_AUDIO_SELECTORS_H

#include <korva/core/export.h>

// Audio kernel shapes and the selectors that hand kernels out. A caller asks
// once, during set-up, by source and destination type, keeps the pointer and
// calls it once a frame.
//
// Six sample types have kernels: double, single, int32, int24, int16 and
// uint8. Any other AudioDataType makes GetConvertIndex and every selector throw
// the const char* "Unsupported Datatype conversion in GetConvertIndex"; no
// selector returns null.
//
// Buffers hold elements of the named types; int24 elements are three bytes with
// no filler. Interleaved, sample i of channel c is element c + i x channels;
// planar, it is element i + c x stride. Counts and strides are in elements.
// Kernels test no pointer and report nothing; source and destination must not
// overlap.
//
// One exception to the element widths: the int24 to int24 kernel of every
// family is the int32 to int32 kernel, so both of its buffers must hold four
// bytes a sample. It cannot copy packed three-byte audio.

#include <korva/core/media_types.h>

// samples x channels elements, index for index. A product that is 0 or
// negative in 32 bits copies nothing.
typedef void (*MMAudioConvertCopyFcn)(const void* in, void* out, int samples, int channels);

// Between interleaved and planar, every channel in order; stride is always
// that of the planar side.
typedef void (*MMAudioTransposeCopyFcn)(const void* in, void* out, int samples, int channels, int stride);

// Through a map of channel positions inside an interleaved frame. To planar,
// arg5 is frameStride and arg6 mapLength: output channel k comes from the
// source channel map[k]. To interleaved the two swap, arg5 being mapLength and
// arg6 frameStride: source channel k goes to the place map[k], and places that
// no entry names are left as they were.
typedef void (*MMAudioConvertCopyWithMapFcn)(const void* in, void* out, int planeStride, int frames, int arg5, int arg6,
                                             const int* map);

// Silence into a planar buffer; the first argument is not read.
typedef void (*MMAudioEmptyFcn)(const void* ignored, void* out, int samples, int channels, int stride);

// position(source) x 6 + position(destination), the positions being double 0,
// single 1, int32 2, int24 3, int16 4, uint8 5. The destination is looked at
// only once the source has passed.
KORVA_API int GetConvertIndex(AudioDataType source, AudioDataType destination);

KORVA_API MMAudioConvertCopyFcn MM_GetAudioConvertCopyFcn(AudioDataType source, AudioDataType destination);

// fromInterleaved true picks the interleaved to planar form, false the planar
// to interleaved one.
KORVA_API MMAudioConvertCopyWithMapFcn MM_GetAudioConvertCopyWithMapFcn(AudioDataType source, AudioDataType destination,
                                                              bool fromInterleaved);
KORVA_API MMAudioTransposeCopyFcn MM_GetAudioTransposeCopyFcn(AudioDataType source, AudioDataType destination,
                                                    bool fromInterleaved);

KORVA_API MMAudioEmptyFcn MM_GetAudioEmptyFcn(AudioDataType type);

#endif
