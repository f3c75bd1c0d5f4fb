#ifndef KORVA_PYTHON_PICTURE_LAYOUT_H
#define KORVA_PYTHON_PICTURE_LAYOUT_H

// numpy's (height, width, 3) pictures against the kernels' planes.
//
// An F-contiguous (height, width, 3) array is three column-ordered planes one
// after the other, which the kernels fill or read directly. A C-contiguous one
// holds red, green, blue side by side a pixel. Reading, the 8-bit kernel
// splits a strip of lines (small enough to stay in cache) into byte planes,
// which are interleaved into red, green, blue bytes; the three-plane kernel
// then raises those bytes to the element type index for index, straight into
// the array, given the strip's bytes as three planes of a third each. Writing,
// a strip of the array is taken apart into row-ordered planes for the output
// kernel. Only bytes and element bits move here: every value is a kernel's.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <korva/core/media_types.h>
#include <korva/video/dispatch.h>

namespace korva::python {

// Kernels picked once, when the module loads: the input selectors build the
// tables their kernels read, and must not run while a kernel of another thread
// reads them.
struct PictureKernels {
    MMVideoInputFcn input[9];
    // The three-plane forms, used with their index-for-index flag.
    MMVideoInputFcn inputIndexwise[9];
    MMVideoOutputFcn output[9];
};
const PictureKernels& pictureKernels();

// Bytes of cache the planes of one strip take.
constexpr int64_t STRIP_BYTES = 48 * 1024;

inline int32_t stripLines(int32_t width, int32_t elementBytes) {
    const int64_t line = 3 * int64_t(width) * elementBytes;
    return int32_t(std::max<int64_t>(1, STRIP_BYTES / std::max<int64_t>(line, 1)));
}

// Bytes of a strip buffer that serves every element type: a strip is at most
// STRIP_BYTES, or one line when a line is longer.
inline size_t stripBufferBytes(int32_t width) { return size_t(STRIP_BYTES) + 3 * size_t(width) * 8; }

// count pixels of three planes into red, green, blue triples; element bits
// only, so one loop serves every type of the same width.
template <class Bits>
void interleaveThree(const Bits* __restrict red, const Bits* __restrict green, const Bits* __restrict blue,
                     Bits* __restrict pixels, int64_t count) {
    for (int64_t i = 0; i < count; ++i) {
        pixels[3 * i] = red[i];
        pixels[3 * i + 1] = green[i];
        pixels[3 * i + 2] = blue[i];
    }
}

template <class Bits>
void deinterleaveThree(const Bits* __restrict pixels, Bits* __restrict red, Bits* __restrict green,
                       Bits* __restrict blue, int64_t count) {
    for (int64_t i = 0; i < count; ++i) {
        red[i] = pixels[3 * i];
        green[i] = pixels[3 * i + 1];
        blue[i] = pixels[3 * i + 2];
    }
}

// The same, by element width in bytes (1, 2, 4 or 8); planes lie one after
// the other at planes, count elements each.
void interleavePlanes(const uint8_t* planes, uint8_t* pixels, int64_t count, int32_t elementBytes);
void deinterleavePlanes(const uint8_t* pixels, uint8_t* planes, int64_t count, int32_t elementBytes);

// A packed bottom-up frame into a (height, width, 3) array of type; strip
// must hold stripBufferBytes(width) bytes.
void packedToPicture(VideoDataType type, const uint8_t* packed, uint8_t* picture, uint8_t* strip, int32_t width,
                     int32_t height, bool columnOrder);

// The other way: a (height, width, 3) array into a packed bottom-up frame.
void pictureToPacked(MMVideoOutputFcn kernel, const uint8_t* picture, uint8_t* packed, uint8_t* strip,
                     int32_t width, int32_t height, int32_t elementBytes, bool columnOrder);

} // namespace korva::python

#endif
