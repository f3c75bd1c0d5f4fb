#ifndef KORVA_TOOLS_AREA_AVERAGE_H
#define KORVA_TOOLS_AREA_AVERAGE_H

// Makes pictures smaller by averaging areas: each output pixel is the mean of
// the source it covers, source pixels cut by its edges counting by the part
// that falls inside. Nothing is skipped, so fine detail turns to its average
// colour instead of to aliasing.

#include <cstddef>
#include <cstdint>

#include "rgb_planes.h"

// A packed frame as the reader gives it: rows bottom-up, blue, green, red.
struct BGRFrame {
    const uint8_t* rows;
    size_t stride; // bytes from one row to the next
    uint32_t width, height;
};

// Shrinks frame to outWidth x outHeight (each from 1 up to the frame's own)
// and draws it into picture with its top left corner at (left, top), which
// must leave it wholly inside.
void drawAreaAverage(const BGRFrame& frame, unsigned outWidth, unsigned outHeight, RGBPicture& picture,
                     unsigned left, unsigned top);

#endif
