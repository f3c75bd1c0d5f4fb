#ifndef KORVA_VIDEO_RGB_SOURCE_H
#define KORVA_VIDEO_RGB_SOURCE_H

// Where the input kernels of RGB frames find their samples, whether the frame
// is packed or three 8-bit planes. Private to the video units.

#include <korva/core/media_types.h>

#include <cstddef>
#include <cstdint>

namespace korva::video {

// The samples of pixel x of picture line y lie at line(y) + x * step + red
// (or green, or blue), and picture line y + 1 lies lineStep bytes after line y.
struct RGBSource {
    const uint8_t* top;
    std::ptrdiff_t lineStep;
    int step;
    std::ptrdiff_t red, green, blue;
    const uint8_t* line(int y) const { return top + y * lineStep; }
};

// A packed frame: blue, green, red a pixel, lines bottom-up and filled to
// whole four-byte words, which are never read.
inline RGBSource packedFrame(const uint8_t* frame, int width, int height) {
    const std::ptrdiff_t rowBytes = rgbRowBytes(width);
    return {frame + (height - 1) * rowBytes, -rowBytes, 3, 2, 1, 0};
}

// Three planes of width x height bytes, red first, top line first.
inline RGBSource threePlanes(const uint8_t* red, int width, int height) {
    const std::ptrdiff_t planeBytes = static_cast<std::ptrdiff_t>(width) * height;
    return {red, width, 1, 0, planeBytes, 2 * planeBytes};
}

} // namespace korva::video

#endif
