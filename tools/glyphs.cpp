#include "glyphs.h"

#include <cstdint>

namespace {

// One row per byte, bit 2 the leftmost column. The letters are those of the
// sheet header ("FPS", "FRAMES"); the small x sits between the numbers of a
// picture size like a multiplication sign.
struct Glyph {
    char character;
    uint8_t rows[5];
};

const Glyph GLYPHS[] = {
    {'0', {7, 5, 5, 5, 7}}, {'1', {2, 6, 2, 2, 7}}, {'2', {7, 1, 7, 4, 7}}, {'3', {7, 1, 7, 1, 7}},
    {'4', {5, 5, 7, 1, 1}}, {'5', {7, 4, 7, 1, 7}}, {'6', {7, 4, 7, 5, 7}}, {'7', {7, 1, 1, 1, 1}},
    {'8', {7, 5, 7, 5, 7}}, {'9', {7, 5, 7, 1, 7}}, {' ', {0, 0, 0, 0, 0}}, {':', {0, 2, 0, 2, 0}},
    {'.', {0, 0, 0, 0, 2}}, {'x', {0, 5, 2, 5, 0}}, {'A', {2, 5, 7, 5, 5}}, {'E', {7, 4, 6, 4, 7}},
    {'F', {7, 4, 6, 4, 4}}, {'M', {5, 7, 7, 5, 5}}, {'P', {6, 5, 6, 4, 4}}, {'R', {6, 5, 6, 5, 5}},
    {'S', {3, 4, 2, 1, 6}},
};

const Glyph* glyphOf(char c) {
    for (const Glyph& g : GLYPHS) {
        if (g.character == c) return &g;
    }
    return nullptr;
}

} // namespace

bool hasGlyphs(const std::string& text) {
    for (char c : text) {
        if (glyphOf(c) == nullptr) return false;
    }
    return true;
}

unsigned textBoxWidth(const std::string& text, unsigned scale) { return (unsigned(text.size()) * 4 + 1) * scale; }

unsigned textBoxHeight(unsigned scale) { return 7 * scale; }

void drawTextBox(RGBPlanes& planes, unsigned planeWidth, unsigned x, unsigned y, const std::string& text,
                 unsigned scale, const DrawArea& area) {
    const unsigned boxWidth = textBoxWidth(text, scale), boxHeight = textBoxHeight(scale);
    for (unsigned dy = 0; dy < boxHeight; ++dy) {
        const unsigned py = y + dy;
        if (py < area.top) continue;
        if (py >= area.bottom) break;
        for (unsigned dx = 0; dx < boxWidth; ++dx) {
            const unsigned px = x + dx;
            if (px < area.left) continue;
            if (px >= area.right) break;
            const unsigned gx = dx / scale, gy = dy / scale; // glyph grid: 4 columns a character, 1 of margin
            bool on = false;
            if (gy >= 1 && gy <= 5 && gx >= 1) {
                const unsigned index = (gx - 1) / 4, column = (gx - 1) % 4;
                if (index < text.size() && column < 3) {
                    const Glyph* glyph = glyphOf(text[index]);
                    on = glyph != nullptr && ((glyph->rows[gy - 1] >> (2 - column)) & 1);
                }
            }
            const uint8_t value = on ? 255 : 0;
            const size_t i = size_t(py) * planeWidth + px;
            planes.red[i] = value;
            planes.green[i] = value;
            planes.blue[i] = value;
        }
    }
}
