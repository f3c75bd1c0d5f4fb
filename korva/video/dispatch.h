#ifndef KORVA_VIDEO_DISPATCH_H
#define KORVA_VIDEO_DISPATCH_H

#include <korva/core/export.h>

// Kernel shapes and the selectors that hand kernels out. A caller asks once,
// during set-up, by format pair and VideoDataType, keeps the pointer and calls
// it once a frame. Every selector answers a type outside the enumeration, or a
// pair or type that has no kernel, with null; the caller must test for it.
//
// Planes hold elements of videoTraits<type>::Element, red, green, blue or Y,
// Cb, Cr, with no filler; intensity kernels use plane0 alone. Sizes are
// 32-bit signed; kernels test no pointer and report nothing.

#include <korva/core/media_types.h>

#include <cstdint>

// A packed frame (or, in the _mmr forms, three 8-bit planes) into planes.
// columnOrder: in the plain forms 0 means row-ordered planes and 1 column-
// ordered ones. The _mmr forms read it the other way round, as a word on
// their source: 0 transposes a row-ordered source into column-ordered planes,
// 1 copies index for index.
typedef void (*MMVideoInputFcn)(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width,
                                int height, int columnOrder);

// A blank picture; frame and columnOrder are ignored, and frame may be null.
typedef MMVideoInputFcn MMVideoEmptyFcn;

// Planes into a packed frame; columnOrder 0 means row-ordered planes.
typedef void (*MMVideoOutputFcn)(const void* plane0, const void* plane1, const void* plane2, uint8_t* frame,
                                 int width, int height, int columnOrder);

// Planes into three 8-bit planes at out, index for index.
typedef void (*MMVideoConvertCopyFcn)(const void* plane0, const void* plane1, const void* plane2, uint8_t* out,
                                      int width, int height);

// Column-ordered planes into row-ordered ones with padElements of filler a row.
typedef void (*MMRawPlanarConvertFcn)(const void* in, void* out, int width, int height, int planes,
                                      int padElements, bool bottomUp);

// Input selectors. Each one also builds EightBitLUT of its type, which its
// kernels read: a kernel may only be called after its selector has run.
KORVA_API MMVideoInputFcn MM_GetRGBToRGBChannelsInputFcn(VideoDataType type);
KORVA_API MMVideoInputFcn MM_GetRGBToRGBChannelsInputFcn_mmr(VideoDataType type);
KORVA_API MMVideoInputFcn MM_GetRGBToIntensityChannelsInputFcn(VideoDataType type);
KORVA_API MMVideoInputFcn MM_GetRGBToIntensityChannelsInputFcn_mmr(VideoDataType type);
KORVA_API MMVideoInputFcn MM_GetRGBToYCbCrChannelsInputFcn(VideoDataType type);
KORVA_API MMVideoInputFcn MM_GetRGBToYCbCrChannelsInputFcn_mmr(VideoDataType type);
KORVA_API MMVideoInputFcn MM_GetYCbCrToRGBChannelsInputFcn(VideoDataType type);
KORVA_API MMVideoInputFcn MM_GetYCbCrToIntensityChannelsInputFcn(VideoDataType type);
KORVA_API MMVideoInputFcn MM_GetYCbCrToYCbCrChannelsInputFcn(VideoDataType type);

// Empty selectors build EightBitLUT too, though their kernels do not read it.
// VIDEO_LOGICAL has no empty kernel.
KORVA_API MMVideoEmptyFcn MM_GetToRGBChannelsEmptyFcn(VideoDataType type);
KORVA_API MMVideoEmptyFcn MM_GetToIntensityChannelsEmptyFcn(VideoDataType type);
KORVA_API MMVideoEmptyFcn MM_GetToYCbCrChannelsEmptyFcn(VideoDataType type);

// Output and convert copy kernels read no table, so these selectors build none.
KORVA_API MMVideoOutputFcn MM_GetRGBToRGBChannelsOutputFcn(VideoDataType type);
KORVA_API MMVideoOutputFcn MM_GetIntensityToRGBChannelsOutputFcn(VideoDataType type);
KORVA_API MMVideoOutputFcn MM_GetYCbCrToRGBChannelsOutputFcn(VideoDataType type);
KORVA_API MMVideoOutputFcn MM_GetRGBToYCbCrChannelsOutputFcn(VideoDataType type);
KORVA_API MMVideoOutputFcn MM_GetIntensityToYCbCrChannelsOutputFcn(VideoDataType type);
KORVA_API MMVideoOutputFcn MM_GetYCbCrToYCbCrChannelsOutputFcn(VideoDataType type);
KORVA_API MMVideoConvertCopyFcn MM_GetRGBToRGB24ChannelsConvertCopyFcn(VideoDataType type);
KORVA_API MMVideoConvertCopyFcn MM_GetIntensityToRGB24ChannelsConvertCopyFcn(VideoDataType type);

// A pair of element types, in and out; builds no table.
KORVA_API MMRawPlanarConvertFcn MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VideoDataType in, VideoDataType out);

// Format dispatchers: the source format comes first. They route to one of the
// selectors above and pass the type on untested; a pair without a family gives
// null and builds no table. mmr picks the three-plane source of an RGB frame
// and is ignored for YUY2, which has no such form.
KORVA_API MMVideoInputFcn MM_GetVideoInputFcn(FourCCType frameFormat, FourCCType planeFormat, VideoDataType type,
                                              bool mmr);
KORVA_API MMVideoOutputFcn MM_GetVideoOutputFcn(FourCCType planeFormat, FourCCType frameFormat, VideoDataType type);
KORVA_API MMVideoEmptyFcn MM_GetVideoEmptyFcn(FourCCType planeFormat, VideoDataType type);

// The routing behind the dispatchers, on its own: which selector a format
// pair leads to, or null. Nothing is built.
typedef MMVideoInputFcn (*MMVideoInputSelector)(VideoDataType type);
typedef MMVideoOutputFcn (*MMVideoOutputSelector)(VideoDataType type);
typedef MMVideoEmptyFcn (*MMVideoEmptySelector)(VideoDataType type);

KORVA_API MMVideoInputSelector videoInputSelector(FourCCType frameFormat, FourCCType planeFormat, bool mmr);
KORVA_API MMVideoOutputSelector videoOutputSelector(FourCCType planeFormat, FourCCType frameFormat);
KORVA_API MMVideoEmptySelector videoEmptySelector(FourCCType planeFormat);

#endif
