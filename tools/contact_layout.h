#ifndef KORVA_TOOLS_CONTACT_LAYOUT_H
#define KORVA_TOOLS_CONTACT_LAYOUT_H

// Where things go on a contact sheet: a header line, then a grid of cells,
// each a thumbnail of a frame with a label strip beneath it. Thumbnails are
// made smaller to fit their cell, never larger.

#include <cstdint>
#include <string>
#include <vector>

// The grid asked for; 0 columns means one chosen from the frame count.
struct ContactGrid {
    unsigned columns = 0;
    unsigned rows = 0;
};

const unsigned DEFAULT_SHEET_WIDTH = 1280;
const unsigned MAX_SHEET_WIDTH = 16384;
const unsigned MAX_GRID_SIDE = 64;
// Sheets are held whole in memory: three bytes a pixel.
const uint64_t MAX_SHEET_PIXELS = uint64_t(1) << 27;
// Narrower cells could not show even a short frame number.
const unsigned MIN_CELL_WIDTH = 16;

struct ContactLayout {
    unsigned columns = 0, rows = 0; // the rows that hold frames
    unsigned textScale = 1;         // glyph units in pixels
    unsigned gap = 0;               // between cells and round the edge
    unsigned headerTop = 0;
    unsigned gridTop = 0;
    unsigned cellWidth = 0, cellHeight = 0; // a thumbnail's room and its label strip
    unsigned thumbWidth = 0, thumbHeight = 0;
    unsigned width = 0, height = 0; // the whole sheet

    unsigned cellLeft(unsigned column) const { return gap + column * (cellWidth + gap); }
    unsigned cellTop(unsigned row) const { return gridTop + row * (cellHeight + gap); }
    unsigned labelHeight() const { return cellHeight - thumbHeight; }
};

// The least sheet width that gives `columns` cells their minimum width.
unsigned minimumSheetWidth(unsigned columns);

// Lays out a sheet `width` pixels wide for `frames` frames (at least 1) of
// frameWidth x frameHeight pixels. Returns an empty string, or why the width
// cannot hold the grid.
std::string layOutContactSheet(uint32_t frameWidth, uint32_t frameHeight, int64_t frames, ContactGrid grid,
                               unsigned width, ContactLayout& layout);

// The frames for `cells` cells over `total` frames: evenly spaced, the first
// and the last included, each at most once (so fewer when total is smaller).
std::vector<int64_t> spreadFrameNumbers(int64_t total, unsigned cells);

#endif
