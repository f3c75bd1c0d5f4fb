#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "area_average.h"
#include "contact_layout.h"
#include "contact_sheet.h"
#include "support/avi_builder.h"

// korva-avi contact: the area average against a plain reference, the frames
// chosen and the only ones read, the layout at odd sizes, every depth, and
// the refusals.

using namespace korvatest;

namespace {

// --- Area average -----------------------------------------------------------------

// A test picture as one plane of grey values per colour, top row first.
struct Source {
    uint32_t width, height;
    std::vector<uint8_t> red, green, blue;
};

using Painter = void (*)(uint32_t x, uint32_t y, uint8_t rgb[3]);

Source paint(uint32_t width, uint32_t height, Painter painter) {
    Source s{width, height, {}, {}, {}};
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            uint8_t rgb[3];
            painter(x, y, rgb);
            s.red.push_back(rgb[0]);
            s.green.push_back(rgb[1]);
            s.blue.push_back(rgb[2]);
        }
    }
    return s;
}

void checkerboard(uint32_t x, uint32_t y, uint8_t rgb[3]) { std::memset(rgb, (x + y) % 2 ? 255 : 0, 3); }

void solid(uint32_t, uint32_t, uint8_t rgb[3]) {
    rgb[0] = 201;
    rgb[1] = 17;
    rgb[2] = 90;
}

void noise(uint32_t x, uint32_t y, uint8_t rgb[3]) {
    uint32_t v = (x * 7919u + y * 104729u) * 2654435761u;
    for (int c = 0; c < 3; ++c, v = v * 1103515245u + 12345u) rgb[c] = uint8_t(v >> 24);
}

void stripes(uint32_t x, uint32_t, uint8_t rgb[3]) { std::memset(rgb, x % 3 == 0 ? 250 : 10, 3); }

// The reader's form: rows bottom-up, blue first, padded to 4 bytes, the
// padding filled with a value no picture holds so that reading it shows.
std::vector<uint8_t> packBottomUp(const Source& s, size_t& stride) {
    stride = (3 * size_t(s.width) + 3) / 4 * 4;
    std::vector<uint8_t> rows(stride * s.height, 0xEE);
    for (uint32_t y = 0; y < s.height; ++y) {
        uint8_t* line = rows.data() + size_t(s.height - 1 - y) * stride;
        for (uint32_t x = 0; x < s.width; ++x) {
            const size_t i = size_t(y) * s.width + x;
            line[3 * x] = s.blue[i];
            line[3 * x + 1] = s.green[i];
            line[3 * x + 2] = s.red[i];
        }
    }
    return rows;
}

// The plain reference: each source pixel weighted by the area of it that the
// output pixel covers, measured in doubles, unrounded.
double referenceAverage(const Source& s, const std::vector<uint8_t>& plane, unsigned outW, unsigned outH,
                        unsigned ox, unsigned oy) {
    const double x0 = double(ox) * s.width / outW, x1 = double(ox + 1) * s.width / outW;
    const double y0 = double(oy) * s.height / outH, y1 = double(oy + 1) * s.height / outH;
    double sum = 0, area = 0;
    for (uint32_t sy = uint32_t(std::floor(y0)); sy < s.height && sy < y1; ++sy) {
        for (uint32_t sx = uint32_t(std::floor(x0)); sx < s.width && sx < x1; ++sx) {
            const double a = (std::min(x1, sx + 1.0) - std::max(x0, double(sx))) *
                             (std::min(y1, sy + 1.0) - std::max(y0, double(sy)));
            sum += a * plane[size_t(sy) * s.width + sx];
            area += a;
        }
    }
    return sum / area;
}

struct ShrinkCase {
    const char* name;
    Painter painter;
    uint32_t width, height;
    unsigned outWidth, outHeight;
};

TEST(ContactAreaAverage, MatchesTheReferenceAndTouchesOnlyItsRectangle) {
    const ShrinkCase cases[] = {
        {"checkerboard halved", checkerboard, 8, 8, 4, 4},
        {"checkerboard to one pixel", checkerboard, 6, 4, 1, 1},
        {"checkerboard by thirds", checkerboard, 9, 7, 4, 3},
        {"solid, odd ratio", solid, 37, 23, 11, 5},
        {"noise, fractional ratio", noise, 100, 37, 33, 13},
        {"noise, padded rows", noise, 41, 29, 17, 12},
        {"noise, kept as it is", noise, 13, 9, 13, 9},
        {"noise, one row", noise, 50, 1, 7, 1},
        {"noise, one column", noise, 1, 50, 1, 7},
        {"stripes narrower than a pixel", stripes, 30, 4, 7, 2},
    };
    for (const ShrinkCase& c : cases) {
        SCOPED_TRACE(c.name);
        const Source s = paint(c.width, c.height, c.painter);
        size_t stride = 0;
        const std::vector<uint8_t> rows = packBottomUp(s, stride);
        RGBPicture picture;
        const uint8_t background[3] = {1, 2, 3};
        const unsigned left = 3, top = 2;
        picture.reset(c.outWidth + 5, c.outHeight + 4, background);
        drawAreaAverage(BGRFrame{rows.data(), stride, c.width, c.height}, c.outWidth, c.outHeight, picture, left, top);
        for (unsigned y = 0; y < picture.height; ++y) {
            for (unsigned x = 0; x < picture.width; ++x) {
                const size_t i = size_t(y) * picture.width + x;
                const uint8_t got[3] = {picture.planes.red[i], picture.planes.green[i], picture.planes.blue[i]};
                const bool inside = x >= left && x < left + c.outWidth && y >= top && y < top + c.outHeight;
                if (!inside) {
                    ASSERT_EQ(0, std::memcmp(got, background, 3)) << "touched " << x << "," << y;
                    continue;
                }
                const std::vector<uint8_t>* planes[3] = {&s.red, &s.green, &s.blue};
                for (int k = 0; k < 3; ++k) {
                    const double want = referenceAverage(s, *planes[k], c.outWidth, c.outHeight, x - left, y - top);
                    ASSERT_LE(std::fabs(got[k] - want), 0.5 + 1e-9)
                        << "pixel " << x - left << "," << y - top << " colour " << k << ": " << int(got[k]) << " for "
                        << want;
                }
            }
        }
    }
}

TEST(ContactAreaAverage, CheckerboardTurnsGreyAndSolidStaysItsColour) {
    const Source board = paint(16, 12, checkerboard), flat = paint(15, 11, solid);
    size_t boardStride = 0, flatStride = 0;
    const std::vector<uint8_t> boardRows = packBottomUp(board, boardStride), flatRows = packBottomUp(flat, flatStride);
    RGBPicture grey, kept;
    const uint8_t black[3] = {0, 0, 0};
    grey.reset(8, 3, black);
    kept.reset(4, 3, black);
    drawAreaAverage(BGRFrame{boardRows.data(), boardStride, 16, 12}, 8, 3, grey, 0, 0);
    drawAreaAverage(BGRFrame{flatRows.data(), flatStride, 15, 11}, 4, 3, kept, 0, 0);
    for (size_t i = 0; i < grey.planes.red.size(); ++i) {
        // Half white, half black: 127.5, which rounds up.
        ASSERT_EQ(grey.planes.red[i], 128);
        ASSERT_EQ(grey.planes.blue[i], 128);
    }
    for (size_t i = 0; i < kept.planes.red.size(); ++i) {
        ASSERT_EQ(kept.planes.red[i], flat.red[0]);
        ASSERT_EQ(kept.planes.green[i], flat.green[0]);
        ASSERT_EQ(kept.planes.blue[i], flat.blue[0]);
    }
}

// --- Frames chosen ----------------------------------------------------------------

TEST(ContactFrames, EvenlySpacedWithFirstAndLast) {
    const int64_t totals[] = {1, 2, 3, 5, 16, 17, 100, 4096, 4294967295LL, 1000000000000LL};
    const unsigned cellCounts[] = {1, 2, 3, 4, 16, 17, 64 * 64};
    for (int64_t total : totals) {
        for (unsigned cells : cellCounts) {
            SCOPED_TRACE(std::to_string(total) + " frames, " + std::to_string(cells) + " cells");
            const std::vector<int64_t> n = spreadFrameNumbers(total, cells);
            ASSERT_EQ(int64_t(n.size()), std::min<int64_t>(total, cells));
            ASSERT_EQ(n.front(), 0);
            if (n.size() > 1) {
                ASSERT_EQ(n.back(), total - 1);
            }
            int64_t shortest = INT64_MAX, longest = 0;
            for (size_t i = 1; i < n.size(); ++i) {
                shortest = std::min(shortest, n[i] - n[i - 1]);
                longest = std::max(longest, n[i] - n[i - 1]);
            }
            if (n.size() > 1) {
                ASSERT_GE(shortest, 1) << "a frame shown twice";
                ASSERT_LE(longest - shortest, 1) << "steps of " << shortest << " and " << longest;
            }
        }
    }
}

TEST(ContactFrames, TimesAreCutToTheHundredth) {
    struct Case {
        uint64_t frame;
        uint32_t rate, scale;
        bool hours;
        const char* text;
    } cases[] = {
        {0, 25, 1, false, "0:00.00"},
        {3, 25, 1, false, "0:00.12"},
        {1, 30000, 1001, false, "0:00.03"}, // 0.0334 s
        {2, 30000, 1001, false, "0:00.06"}, // 0.0667 s: cut, not rounded up
        {1500, 25, 1, false, "1:00.00"},
        {1499, 25, 1, false, "0:59.96"},
        {90000, 25, 1, true, "1:00:00.00"},
        {89999, 25, 1, true, "0:59:59.96"},
        {4294967295u, 1, 4294967295u, true, "5124095573644338:03:45.00"}, // no overflow at the extremes
    };
    for (const Case& c : cases) EXPECT_EQ(frameTimeText(c.frame, c.rate, c.scale, c.hours), c.text) << c.frame;
}

// --- Layout -------------------------------------------------------------------------

TEST(ContactLayout, ThumbnailsFitTheirCellsAndKeepTheirShape) {
    struct Case {
        uint32_t width, height;
        int64_t frames;
        ContactGrid grid;
        unsigned sheetWidth;
    } cases[] = {
        {1920, 1080, 1000, {}, DEFAULT_SHEET_WIDTH}, {1080, 1920, 1000, {}, DEFAULT_SHEET_WIDTH},
        {1, 1, 1, {}, DEFAULT_SHEET_WIDTH},          {3, 1, 2, {}, 100},
        {1, 3, 7, {3, 3}, 100},                       {33, 17, 5, {}, 90},
        {8190, 2, 20, {}, DEFAULT_SHEET_WIDTH},      {2, 8190, 20, {}, DEFAULT_SHEET_WIDTH},
        {640, 480, 3, {8, 8}, 4000},                  {640, 480, 64, {1, 64}, 200},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + "x" + std::to_string(c.height) + ", " + std::to_string(c.frames) +
                     " frames, sheet " + std::to_string(c.sheetWidth));
        ContactLayout l;
        ASSERT_EQ(layOutContactSheet(c.width, c.height, c.frames, c.grid, c.sheetWidth, l), "");
        const unsigned columns = c.grid.columns ? c.grid.columns : unsigned(std::min<int64_t>(4, c.frames));
        const unsigned maxRows = c.grid.columns ? c.grid.rows : 4;
        EXPECT_EQ(l.columns, columns);
        EXPECT_EQ(l.rows, unsigned(std::min<int64_t>(maxRows, (c.frames + columns - 1) / columns)));
        EXPECT_EQ(l.width, c.sheetWidth);
        EXPECT_GE(l.cellWidth, MIN_CELL_WIDTH);
        EXPECT_GE(l.thumbWidth, 1u);
        EXPECT_GE(l.thumbHeight, 1u);
        EXPECT_LE(l.thumbWidth, std::min(c.width, l.cellWidth)) << "never enlarged, always inside the cell";
        EXPECT_LE(l.thumbHeight, std::min(c.height, l.cellWidth));
        // The shape is kept to within the rounding of the shorter side, which
        // is at least one pixel.
        if (c.width >= c.height) {
            EXPECT_NEAR(l.thumbHeight, std::max(1.0, double(c.height) * l.thumbWidth / c.width), 0.5 + 1e-9);
        } else {
            EXPECT_NEAR(l.thumbWidth, std::max(1.0, double(c.width) * l.thumbHeight / c.height), 0.5 + 1e-9);
        }
        EXPECT_GT(l.gridTop, l.headerTop);
        EXPECT_LE(l.cellLeft(l.columns - 1) + l.cellWidth + l.gap, l.width);
        EXPECT_EQ(l.cellTop(l.rows - 1) + l.cellHeight + l.gap, l.height);
        EXPECT_GT(l.labelHeight(), 0u);
    }
}

TEST(ContactLayout, RefusesWidthsTooSmallForTheGridAndSheetsTooLarge) {
    for (unsigned columns : {1u, 4u, 7u, 64u}) {
        SCOPED_TRACE(std::to_string(columns) + " columns");
        const unsigned least = minimumSheetWidth(columns);
        ContactLayout l;
        EXPECT_EQ(layOutContactSheet(320, 240, 1000, {columns, 2}, least, l), "");
        EXPECT_GE(l.cellWidth, MIN_CELL_WIDTH);
        const std::string refusal = layOutContactSheet(320, 240, 1000, {columns, 2}, least - 1, l);
        EXPECT_NE(refusal.find("needs a width of at least " + std::to_string(least) + " pixels"), std::string::npos)
            << refusal;
    }
    ContactLayout l;
    const std::string refusal = layOutContactSheet(16000, 16000, 1000, {1, 64}, MAX_SHEET_WIDTH, l);
    EXPECT_NE(refusal.find("is too large"), std::string::npos) << refusal;
}

// --- Whole sheets from files -----------------------------------------------------------

struct Colour {
    uint8_t red, green, blue;
    bool operator==(const Colour& o) const { return red == o.red && green == o.green && blue == o.blue; }
};

std::ostream& operator<<(std::ostream& os, const Colour& c) {
    return os << int(c.red) << "," << int(c.green) << "," << int(c.blue);
}

// Frame n's top half; multiples of 8, so that 5-bit depths hold them exactly.
Colour frameColour(int64_t n) {
    return {uint8_t((n * 37 + 11) & 0xF8), uint8_t((n * 71 + 5) & 0xF8), uint8_t((255 - n * 13) & 0xF8)};
}
const Colour BOTTOM{200, 96, 48};

// A file of `frames` frames: the top half of frame n in frameColour(n), the
// bottom half in BOTTOM, stored at `bits` bits a pixel (8: through the colour
// map), top-down when asked.
AviPlan planFrames(int64_t frames, uint16_t bits, int32_t width, int32_t height, bool topDown) {
    AviPlan plan;
    plan.video.width = width;
    plan.video.height = topDown ? -height : height;
    plan.video.bits = bits;
    if (bits == 8) {
        plan.video.colormap.resize(256, Rgbq{0, 0, 0, 0});
        for (int64_t n = 0; n < frames && n < 255; ++n) {
            const Colour c = frameColour(n);
            plan.video.colormap[size_t(n)] = Rgbq{c.blue, c.green, c.red, 0};
        }
        plan.video.colormap[255] = Rgbq{BOTTOM.blue, BOTTOM.green, BOTTOM.red, 0};
    }
    const size_t bytesPerPixel = bits / 8, stride = (bytesPerPixel * size_t(width) + 3) / 4 * 4;
    for (int64_t n = 0; n < frames; ++n) {
        Bytes frame(stride * size_t(height), 0);
        for (int32_t row = 0; row < height; ++row) {
            const int32_t fromTop = topDown ? row : height - 1 - row; // stored row to picture row
            const Colour c = fromTop < height / 2 ? frameColour(n) : BOTTOM;
            const uint8_t index = fromTop < height / 2 ? uint8_t(n) : 255;
            const uint16_t word = uint16_t((c.red >> 3) << 10 | (c.green >> 3) << 5 | (c.blue >> 3));
            for (int32_t x = 0; x < width; ++x) {
                uint8_t* p = &frame[size_t(row) * stride + size_t(x) * bytesPerPixel];
                if (bits == 8) {
                    p[0] = index;
                } else if (bits == 16) {
                    p[0] = uint8_t(word);
                    p[1] = uint8_t(word >> 8);
                } else {
                    p[0] = c.blue;
                    p[1] = c.green;
                    p[2] = c.red;
                    if (bits == 32) p[3] = 0x77;
                }
            }
        }
        plan.frames.push_back(frame);
    }
    return plan;
}

Colour pixel(const RGBPicture& p, unsigned x, unsigned y) {
    const size_t i = size_t(y) * p.width + x;
    return {p.planes.red[i], p.planes.green[i], p.planes.blue[i]};
}

// Each cell shows the frame spreadFrameNumbers gives it, the right way up.
void expectFramesShown(const RGBPicture& sheet, uint32_t width, uint32_t height, int64_t frames,
                       const ContactOptions& options) {
    ContactLayout l;
    ASSERT_EQ(layOutContactSheet(width, height, frames, options.grid, options.width, l), "");
    ASSERT_EQ(sheet.width, l.width);
    ASSERT_EQ(sheet.height, l.height);
    const std::vector<int64_t> shown = spreadFrameNumbers(frames, l.columns * l.rows);
    for (size_t i = 0; i < shown.size(); ++i) {
        const unsigned left = l.cellLeft(unsigned(i % l.columns)) + (l.cellWidth - l.thumbWidth) / 2;
        const unsigned top = l.cellTop(unsigned(i / l.columns));
        EXPECT_EQ(pixel(sheet, left, top), frameColour(shown[i])) << "cell " << i << ", frame " << shown[i];
        EXPECT_EQ(pixel(sheet, left + l.thumbWidth - 1, top + l.thumbHeight - 1), BOTTOM) << "cell " << i;
    }
}

TEST(ContactSheet, EveryDepthShowsTheChosenFramesTheRightWayUp) {
    struct Case {
        const char* name;
        uint16_t bits;
        int32_t width, height;
        bool topDown;
    } cases[] = {
        {"8 bits, colour map", 8, 42, 30, false},    {"16 bits", 16, 42, 30, false},
        {"24 bits, padded rows", 24, 42, 30, false}, {"32 bits", 32, 42, 30, false},
        {"24 bits, top-down", 24, 42, 30, true},     {"24 bits, tiny", 24, 2, 2, false},
    };
    TempDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const int64_t frames = 11;
        const std::string path = dir.path(std::string("depth") + std::to_string(c.bits) + (c.topDown ? "td" : "") +
                                          std::to_string(c.width) + ".avi");
        writeFile(path, buildAvi(planFrames(frames, c.bits, c.width, c.height, c.topDown)).bytes);
        ContactOptions options;
        options.grid = {3, 2}; // fewer cells than frames: 0, 2, 4, 6, 8, 10
        options.width = 120;   // cells narrower than the frames, so they shrink
        RGBPicture sheet;
        const ContactFailure failure = makeContactSheet(path, options, sheet);
        ASSERT_EQ(failure.kind, ContactFailure::None) << failure.text;
        expectFramesShown(sheet, uint32_t(c.width), uint32_t(c.height), frames, options);
    }
}

TEST(ContactSheet, FewerFramesThanCellsAndASingleFrame) {
    TempDir dir;
    for (int64_t frames : {1, 2, 6}) {
        SCOPED_TRACE(std::to_string(frames) + " frames");
        const std::string path = dir.path("few" + std::to_string(frames) + ".avi");
        writeFile(path, buildAvi(planFrames(frames, 24, 40, 20, false)).bytes);
        for (ContactGrid grid : {ContactGrid{}, ContactGrid{4, 4}}) {
            ContactOptions options;
            options.grid = grid;
            RGBPicture sheet;
            const ContactFailure failure = makeContactSheet(path, options, sheet);
            ASSERT_EQ(failure.kind, ContactFailure::None) << failure.text;
            expectFramesShown(sheet, 40, 20, frames, options);
        }
    }
}

// The frames not shown are made unreadable: their index entries point far
// behind the end of the file. A sheet that reads only the frames it shows is
// made all the same; one over every frame runs into the first damaged one.
TEST(ContactSheet, ReadsOnlyTheFramesItShows) {
    const int64_t frames = 40;
    AviPlan plan = planFrames(frames, 24, 16, 8, false);
    plan.index = IndexKind::Legacy;
    Bytes bytes = buildAvi(plan).bytes;
    // The legacy index closes the file: one entry of 16 bytes a frame, the
    // offset in the third word.
    const size_t entries = bytes.size() - 16 * size_t(frames);
    ASSERT_EQ(std::string(bytes.begin() + long(entries) - 8, bytes.begin() + long(entries) - 4), "idx1");
    ContactOptions options;
    options.grid = {4, 1};
    const std::vector<int64_t> shown = spreadFrameNumbers(frames, 4);
    for (int64_t n = 0; n < frames; ++n) {
        if (std::find(shown.begin(), shown.end(), n) == shown.end()) {
            putLE32(bytes, entries + 16 * size_t(n) + 8, 0x70000000u);
        }
    }
    TempDir dir;
    const std::string path = dir.path("damaged.avi");
    writeFile(path, bytes);

    RGBPicture sheet;
    const ContactFailure failure = makeContactSheet(path, options, sheet);
    ASSERT_EQ(failure.kind, ContactFailure::None) << failure.text;
    expectFramesShown(sheet, 16, 8, frames, options);

    ContactOptions everything;
    everything.grid = {8, 5};
    const ContactFailure damaged = makeContactSheet(path, everything, sheet);
    EXPECT_EQ(damaged.kind, ContactFailure::File);
    EXPECT_NE(damaged.text.find("cannot read frame 1 of"), std::string::npos) << damaged.text;
}

TEST(ContactSheet, ProgressCountsTheFramesShown) {
    TempDir dir;
    const std::string path = dir.path("progress.avi");
    writeFile(path, buildAvi(planFrames(30, 24, 8, 8, false)).bytes);
    std::vector<uint64_t> calls;
    RGBPicture sheet;
    ContactOptions options;
    options.grid = {3, 3};
    const ContactFailure failure = makeContactSheet(path, options, sheet, [&](uint64_t done, uint64_t total) {
        EXPECT_EQ(total, 9u);
        calls.push_back(done);
    });
    ASSERT_EQ(failure.kind, ContactFailure::None) << failure.text;
    EXPECT_EQ(calls, (std::vector<uint64_t>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(ContactSheet, Refusals) {
    TempDir dir;
    AviPlan noFrames = planFrames(0, 24, 8, 8, false);
    AviPlan soundOnly;
    soundOnly.hasVideo = false;
    soundOnly.hasAudio = true;
    soundOnly.audioChunks = {patternBytes(400, 1), patternBytes(400, 2)};
    AviPlan compressed = planFrames(3, 24, 8, 8, false);
    compressed.video.compression = 0x47504A4D; // "MJPG"
    AviPlan wide = planFrames(3, 24, 8, 8, false);
    writeFile(dir.path("none.avi"), buildAvi(noFrames).bytes);
    writeFile(dir.path("sound.avi"), buildAvi(soundOnly).bytes);
    writeFile(dir.path("mjpg.avi"), buildAvi(compressed).bytes);
    writeFile(dir.path("wide.avi"), buildAvi(wide).bytes);
    writeFile(dir.path("junk.avi"), patternBytes(1000, 3));

    struct Case {
        const char* file;
        ContactGrid grid;
        unsigned width;
        ContactFailure::Kind kind;
        const char* text;
    } cases[] = {
        {"missing.avi", {}, DEFAULT_SHEET_WIDTH, ContactFailure::File, "cannot read"},
        {"junk.avi", {}, DEFAULT_SHEET_WIDTH, ContactFailure::File, "cannot read"},
        {"none.avi", {}, DEFAULT_SHEET_WIDTH, ContactFailure::File, "has no video frames"},
        {"sound.avi", {}, DEFAULT_SHEET_WIDTH, ContactFailure::File, "has no video stream"},
        {"mjpg.avi", {}, DEFAULT_SHEET_WIDTH, ContactFailure::File, "compressed as 'MJPG'"},
        {"wide.avi", {8, 2}, 100, ContactFailure::Request, "a sheet of 8 columns needs a width of at least"},
        {"wide.avi", {}, 50, ContactFailure::Request, "a sheet of 3 columns needs a width of at least"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        ContactOptions options;
        options.grid = c.grid;
        options.width = c.width;
        RGBPicture sheet;
        const ContactFailure failure = makeContactSheet(dir.path(c.file), options, sheet);
        EXPECT_EQ(failure.kind, c.kind);
        EXPECT_NE(failure.text.find(c.text), std::string::npos) << failure.text;
    }
}

} // namespace
