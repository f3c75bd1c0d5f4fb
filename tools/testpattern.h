#ifndef KORVA_TOOLS_TESTPATTERN_H
#define KORVA_TOOLS_TESTPATTERN_H

#include <cstdint>
#include <string>
#include <vector>

#include "rgb_planes.h"

// Settings of `korva-avi testpattern`.
struct TestPattern {
    unsigned width = 320;
    unsigned height = 240;
    double frameRate = 25.0;
    double seconds = 4.0;
    unsigned audioRate = 44100; // 0: no audio stream
    unsigned channels = 2;
    double toneHz = 440.0;
};

// Draws frame `number` of the pattern: colour bars that move two pixels a frame,
// with the frame number in a box at the top left.
void drawTestPatternPlanes(const TestPattern& p, unsigned number, RGBPlanes& planes);

// Writes the whole file, each picture packed into the writer's frame (bottom
// row first, blue first, rows padded to 4 bytes) by the library's output
// kernel; returns an empty string or the text of what failed.
std::string writeTestPattern(const TestPattern& p, const std::string& path);

#endif
