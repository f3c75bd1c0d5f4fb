#ifndef KORVA_TOOLS_RGB_PLANES_H
#define KORVA_TOOLS_RGB_PLANES_H

#include <cstdint>
#include <vector>

// A picture as red, green and blue planes of bytes in row order, top line
// first: the planes of VIDEO_UINT8 that the library's kernels take.
struct RGBPlanes {
    std::vector<uint8_t> red, green, blue;
};

// Planes with their size, as the tools save and draw them.
struct RGBPicture {
    uint32_t width = 0;
    uint32_t height = 0;
    RGBPlanes planes;

    // Sizes the planes to width x height, every pixel of the given colour.
    void reset(uint32_t newWidth, uint32_t newHeight, const uint8_t rgb[3]) {
        width = newWidth;
        height = newHeight;
        const size_t pixels = size_t(width) * height;
        planes.red.assign(pixels, rgb[0]);
        planes.green.assign(pixels, rgb[1]);
        planes.blue.assign(pixels, rgb[2]);
    }
};

#endif
