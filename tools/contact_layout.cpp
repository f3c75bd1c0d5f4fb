#include "contact_layout.h"

#include <algorithm>

#include "glyphs.h"

namespace {

// Glyph units grow with the sheet, so that labels read alike on a wide sheet
// and a narrow one: 2 pixels at the default width.
unsigned textScaleFor(unsigned width) { return std::max(1u, width / 640); }

unsigned gapFor(unsigned textScale) { return 2 * textScale; }

// The default grid: up to 4 columns and up to 4 rows, no more than the frames fill.
ContactGrid defaultGrid(int64_t frames) {
    ContactGrid grid;
    grid.columns = unsigned(std::min<int64_t>(4, frames));
    grid.rows = 4;
    return grid;
}

} // namespace

unsigned minimumSheetWidth(unsigned columns) {
    // The gap grows with the width, so the least width is found by walking up
    // from the width the cells alone need; a few steps at most.
    unsigned width = columns * MIN_CELL_WIDTH;
    while (width < columns * MIN_CELL_WIDTH + (columns + 1) * gapFor(textScaleFor(width))) ++width;
    return width;
}

std::string layOutContactSheet(uint32_t frameWidth, uint32_t frameHeight, int64_t frames, ContactGrid grid,
                               unsigned width, ContactLayout& layout) {
    if (grid.columns == 0) grid = defaultGrid(frames);
    if (width < minimumSheetWidth(grid.columns)) {
        return "a sheet of " + std::to_string(grid.columns) + (grid.columns == 1 ? " column" : " columns") +
               " needs a width of at least " + std::to_string(minimumSheetWidth(grid.columns)) + " pixels, not " +
               std::to_string(width);
    }
    // Rows that no frame would reach are left out.
    const int64_t shown = std::min<int64_t>(frames, int64_t(grid.columns) * grid.rows);
    layout.columns = grid.columns;
    layout.rows = unsigned((shown + grid.columns - 1) / grid.columns);
    layout.textScale = textScaleFor(width);
    layout.gap = gapFor(layout.textScale);
    layout.headerTop = layout.gap;
    layout.gridTop = layout.headerTop + textBoxHeight(layout.textScale) + layout.gap;
    layout.cellWidth = (width - (layout.columns + 1) * layout.gap) / layout.columns;
    // A thumbnail fits a square of the cell's width, so that frames of any
    // shape, tall ones too, keep the sheet to a sensible height.
    const uint64_t room = layout.cellWidth;
    if (frameWidth <= room && frameHeight <= room) {
        layout.thumbWidth = frameWidth;
        layout.thumbHeight = frameHeight;
    } else if (frameWidth >= frameHeight) {
        layout.thumbWidth = unsigned(room);
        layout.thumbHeight = unsigned(std::max<uint64_t>(1, (frameHeight * room + frameWidth / 2) / frameWidth));
    } else {
        layout.thumbHeight = unsigned(room);
        layout.thumbWidth = unsigned(std::max<uint64_t>(1, (frameWidth * room + frameHeight / 2) / frameHeight));
    }
    layout.cellHeight = layout.thumbHeight + textBoxHeight(layout.textScale);
    layout.width = width;
    layout.height = layout.gridTop + layout.rows * (layout.cellHeight + layout.gap);
    if (uint64_t(layout.width) * layout.height > MAX_SHEET_PIXELS) {
        return "a sheet of " + std::to_string(layout.width) + "x" + std::to_string(layout.height) +
               " pixels is too large; ask for a smaller width or fewer rows";
    }
    return std::string();
}

std::vector<int64_t> spreadFrameNumbers(int64_t total, unsigned cells) {
    const int64_t count = std::min<int64_t>(total, cells);
    std::vector<int64_t> numbers;
    if (count <= 0) return numbers;
    if (count == 1) return {0};
    // Cell i shows frame i (total - 1) / (count - 1), rounded to the nearest;
    // as count <= total the steps are at least 1, so no frame comes twice.
    // Split into quotient and remainder so that no product overflows.
    const int64_t span = total - 1, steps = count - 1;
    const int64_t whole = span / steps, part = span % steps;
    for (int64_t i = 0; i < count; ++i) {
        numbers.push_back(i * whole + (2 * i * part + steps) / (2 * steps));
    }
    return numbers;
}
