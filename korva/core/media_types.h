#ifndef KORVA_CORE_MEDIA_TYPES_H
#define KORVA_CORE_MEDIA_TYPES_H

#include <korva/core/export.h>

#include <cstdint>

// The sample and pixel vocabulary shared by the kernels, the selectors and the
// queues. Every numeric value below indexes constant tables and stands in
// exported signatures: never renumber.

enum AudioDataType : int32_t {
    AUDIO_DOUBLE = 0,
    AUDIO_SINGLE = 1,
    AUDIO_INT8 = 2,
    AUDIO_UINT8 = 3,
    AUDIO_INT16 = 4,
    AUDIO_UINT16 = 5,
    AUDIO_INT32 = 6,
    AUDIO_UINT32 = 7,
    AUDIO_LOGICAL = 8, // also the answer for a depth that has no type
    AUDIO_INT24 = 9,   // three bytes, no filler
    AUDIO_UINT24 = 10
};

// Element types of callers' planes; the same order as the audio types up to
// LOGICAL. Kept apart from AudioDataType because audio runs on to 24 bits.
enum VideoDataType : int32_t {
    VIDEO_DOUBLE = 0,
    VIDEO_SINGLE = 1,
    VIDEO_INT8 = 2,
    VIDEO_UINT8 = 3,
    VIDEO_INT16 = 4,
    VIDEO_UINT16 = 5,
    VIDEO_INT32 = 6,
    VIDEO_UINT32 = 7,
    VIDEO_LOGICAL = 8 // one byte holding 0 or 1
};

enum FourCCType : int32_t {
    FOURCC_UNKNOWN = 0, // no kernel is ever selected for it
    FOURCC_RGB = 1,     // "RGB " with a trailing blank
    FOURCC_GREY = 2,
    FOURCC_YUY2 = 3
};

// Integer words of the scaled-double conversion; NONE and 7 select nothing.
enum ScaledDoubleFunctionIndex : int32_t {
    SCALED_NONE = 0,
    SCALED_UINT8 = 1,
    SCALED_UINT16 = 2,
    SCALED_UINT32 = 3,
    SCALED_INT8 = 4,
    SCALED_INT16 = 5,
    SCALED_INT32 = 6
};

// Bytes of one sample or element, indexed by the enumeration without a range
// test: only valid values may be used.
extern KORVA_API const int32_t audioDataTypeSize[11];
extern KORVA_API const int32_t videoDataTypeSize[9];

// Exactly four bytes, case-sensitive; no terminator is needed or looked for.
KORVA_API FourCCType getFourccEnum(const char* fourcc);

// 8-bit integer audio is unsigned, wider integer audio signed; any depth
// without a type gives AUDIO_LOGICAL, which the audio selectors then refuse.
KORVA_API AudioDataType getAudioDataType(int bitsPerSample, bool isFloat);

// Frame geometry. Widths and heights count pixels; y counts from the top line
// of the picture, x from the left column.

// A packed RGB line holds blue, green, red a pixel and is filled up to whole
// four-byte words. The pad bytes are never read.
constexpr int32_t rgbRowPadBytes(int32_t width) { return (4 - (3 * width) % 4) % 4; }

constexpr int32_t rgbRowBytes(int32_t width) { return 3 * width + rgbRowPadBytes(width); }

// Packed RGB lines lie bottom-up: the first line in memory is the picture's last.
constexpr int64_t rgbPixelOffset(int32_t x, int32_t y, int32_t width, int32_t height) {
    return int64_t(height - 1 - y) * rgbRowBytes(width) + 3 * int64_t(x);
}

constexpr int64_t rgbFrameBytes(int32_t width, int32_t height) { return int64_t(height) * rgbRowBytes(width); }

// YUY2 lines lie top-down with two bytes a pixel and no filler.
constexpr int64_t yuy2FrameBytes(int32_t width, int32_t height) { return int64_t(width) * height * 2; }

// Bytes of a packed frame of the format; formats other than RGB and YUY2
// (GREY, UNKNOWN) count one byte a pixel.
constexpr int64_t packedFrameBytes(FourCCType format, int32_t width, int32_t height) {
    return format == FOURCC_RGB    ? rgbFrameBytes(width, height)
           : format == FOURCC_YUY2 ? yuy2FrameBytes(width, height)
                                   : int64_t(width) * height;
}

// Callers' planes have no filler. Row order is line by line; column order,
// that of the callers' numeric matrices, is column by column.
constexpr int64_t planeIndexRowOrder(int32_t x, int32_t y, int32_t width) { return int64_t(y) * width + x; }

constexpr int64_t planeIndexColumnOrder(int32_t x, int32_t y, int32_t height) { return int64_t(x) * height + y; }

// Red, green, blue or Y, Cb, Cr; an intensity picture has the one plane.
constexpr int32_t planeCount(FourCCType format) { return format == FOURCC_GREY ? 1 : 3; }

// Bytes that a queue frame needs to hold a picture's planes of the given type.
inline int64_t planeFrameBytes(FourCCType format, VideoDataType type, int32_t width, int32_t height) {
    return int64_t(planeCount(format)) * width * height * videoDataTypeSize[type];
}

// Audio: sample i of channel c. Frames interleave the channels; callers keep
// each channel in one run, stride elements from the start of the next.
constexpr int64_t interleavedSampleIndex(int64_t i, int32_t c, int32_t channels) { return c + i * channels; }

constexpr int64_t planarSampleIndex(int64_t i, int32_t c, int64_t stride) { return i + c * stride; }

#endif
