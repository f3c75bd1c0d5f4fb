#ifndef KORVA_TOOLS_GLYPHS_H
#define KORVA_TOOLS_GLYPHS_H

// The tools' one small font: 3x5 glyphs for the digits and the few other
// characters that frame labels and sheet headers use, drawn white on a black
// box at a whole-number scale.

#include <string>

#include "rgb_planes.h"

// The part of a picture that drawing may touch: columns left..right-1, rows
// top..bottom-1.
struct DrawArea {
    unsigned left, top, right, bottom;
};

// Whether every character of text has a glyph; others are drawn blank.
bool hasGlyphs(const std::string& text);

// The box drawn for text: a margin of one glyph unit all round, and each
// character 4 units wide (3 of glyph, 1 of space), 7 units high in all.
unsigned textBoxWidth(const std::string& text, unsigned scale);
unsigned textBoxHeight(unsigned scale);

// Draws the box of text with its top left corner at (x, y) into planes of
// planeWidth columns, touching no pixel outside area.
void drawTextBox(RGBPlanes& planes, unsigned planeWidth, unsigned x, unsigned y, const std::string& text,
                 unsigned scale, const DrawArea& area);

#endif
