#include <gtest/gtest.h>

#include <algorithm>
#include <korva/korva.h>

#include "support/avi_builder.h"

using namespace korvatest;

namespace {

uint32_t pad4(uint32_t n) { return n % 4 ? 4 - n % 4 : 0; }

struct Geo {
    uint32_t w, h, bits;
    uint32_t stored; // size of the first frame, which every frame is read with
    std::vector<Rgbq> fileMap = {};
    bool indexed() const { return bits == 2 || bits == 4 || bits == 8; }
    uint32_t rgb24Size() const {
        if (bits == 24 || bits == 32) return stored;
        return indexed() || bits == 16 ? h * (3 * w + pad4(3 * w)) : 0;
    }
    std::vector<Rgbq> map() const {
        if (!fileMap.empty() || !indexed()) return fileMap;
        std::vector<Rgbq> ramp; // files without colormap: the unscaled grey ramp
        for (unsigned k = 0; k < (1u << bits); ++k) ramp.push_back({uint8_t(k), uint8_t(k), uint8_t(k), 0});
        return ramp;
    }
};

// The caller's buffer with a flag for bytes whose value is not determined:
// those read from behind the buffer, and colours of indexes past the colormap.
struct Model {
    Bytes b;
    std::vector<bool> known;
    uint8_t get(int64_t i, bool& ok) const {
        if (i < 0 || i >= int64_t(b.size())) return ok = false, 0;
        ok = ok && known[size_t(i)];
        return b[size_t(i)];
    }
    // Blue, green and red at `at` and up.
    void put3(int64_t at, unsigned blue, unsigned green, unsigned red, bool ok) {
        const unsigned v[3] = {blue, green, red};
        for (int k = 0; k < 3; ++k) b.at(size_t(at + k)) = uint8_t(v[k]), known.at(size_t(at + k)) = ok;
    }
    void rgb555(int64_t s, int64_t o) {
        bool ok = true;
        const unsigned lo = get(s, ok), word = lo | get(s + 1, ok) << 8;
        put3(o - 2, word << 3, (word >> 2) & 0xF8, (word >> 7) & 0xF8, ok);
    }
    void rgb32(int64_t s, int64_t o) {
        bool ok = true;
        const unsigned blue = get(s, ok), green = get(s + 1, ok), red = get(s + 2, ok);
        put3(o, blue, green, red, ok);
    }
    void indexed(const std::vector<Rgbq>& map, int64_t s, int64_t o) {
        bool ok = true;
        const uint8_t k = get(s, ok);
        ok = ok && k < map.size();
        const Rgbq c = ok ? map[k] : Rgbq{0, 0, 0, 0};
        put3(o - 2, c.blue, c.green, c.red, ok);
    }
    // Rows exchanged pairwise, a row being the stored size over the height.
    void flip(const Geo& g) {
        const uint32_t row = g.stored / g.h;
        for (uint32_t i = 0; i < g.h / 2; ++i)
            std::swap_ranges(b.begin() + i * row, b.begin() + (i + 1) * row, b.begin() + (g.h - 1 - i) * row);
    }
    // The plain walks, index by index. A walk that would write in front of the
    // buffer stops there.
    void convert(const Geo& g) {
        const int64_t w = g.w, h = g.h, V = g.stored, S = g.rgb24Size(), pad = pad4(3 * g.w);
        const std::vector<Rgbq> map = g.map();
        if (g.bits == 16 && pad == 0)
            for (int64_t s = V - 2, o = S - 1; s >= 0 && o >= 2; s -= 2, o -= 3) rgb555(s, o);
        if (g.bits == 16 && pad != 0)
            for (int64_t r = h - 1, o = S - 1 - pad; r >= 0; --r, o -= pad) // the stride counts the pad in pixels
                for (int64_t c = w - 1; c >= 0; --c, o -= 3) rgb555(r * 2 * (w + (w % 2 ? 2 : 0)) + 2 * c, o);
        if (g.bits == 32 && pad == 0)
            for (int64_t s = 0, o = 0; s < V; s += 4, o += 3) rgb32(s, o);
        if (g.bits == 32 && pad != 0)
            for (int64_t r = 0, o = 0; r < h; ++r, o += pad)
                for (int64_t c = 0; c < w; ++c, o += 3) rgb32(r * 4 * w + 4 * c, o);
        if (g.indexed() && pad == 0)
            for (int64_t s = V - 1, o = S - 1; s >= 0 && o >= 2; --s, o -= 3) indexed(map, s, o);
        if (g.indexed() && pad != 0)
            for (int64_t r = h - 1, o = S - 1 - pad; r >= 0; --r, o -= pad)
                for (int64_t c = w - 1; c >= 0; --c, o -= 3) indexed(map, r * (w + pad4(g.w)) + c, o);
    }
};

::testing::AssertionResult sameDefinedBytes(const Model& m, const std::vector<char>& got) {
    size_t defined = 0;
    for (size_t i = 0; i < got.size(); ++i) {
        if (!m.known[i]) continue;
        ++defined;
        if (uint8_t(got[i]) != m.b[i])
            return ::testing::AssertionFailure() << "byte " << i << " is " << int(uint8_t(got[i])) << ", walk gives "
                                                 << int(m.b[i]);
    }
    if (defined < got.size() / 4) return ::testing::AssertionFailure() << "only " << defined << " bytes defined";
    return ::testing::AssertionSuccess();
}

// With a short colormap most bytes index inside it; every seventh byte is left
// as it came and may reach past the colormap's end.
Bytes bufferBytes(const Geo& g, size_t size, uint32_t seed) {
    Bytes f = patternBytes(size, seed);
    const size_t entries = g.map().size();
    for (size_t i = 0; i < f.size() && entries != 0 && entries < 256; ++i)
        if (i % 7) f[i] = uint8_t(f[i] % entries);
    return f;
}

// Two frames and one read past the end through readRGB24VideoFrame, into
// buffers of exactly the size the getters give, against the walk.
void checkAgainstWalk(const Geo& g, bool topDown) {
    SCOPED_TRACE(::testing::Message() << g.bits << " bits " << g.w << "x" << g.h << " stored " << g.stored
                                      << (topDown ? " top-down" : ""));
    AviPlan plan;
    plan.video = {int32_t(g.w), topDown ? -int32_t(g.h) : int32_t(g.h), uint16_t(g.bits), 0, 1, 25, g.fileMap};
    plan.frames = {bufferBytes(g, g.stored, g.w * 31 + g.h), bufferBytes(g, g.stored, g.w * 17 + g.h + 5)};
    TempDir dir;
    writeFile(dir.path("r.avi"), buildAvi(plan).bytes);
    avi::File f;
    ASSERT_TRUE(f.open(dir.path("r.avi").c_str(), "rb")) << f.getErrorMsg();
    ASSERT_EQ(f.getRGB24VideoFrameSize(), g.rgb24Size());
    const size_t n = std::max(f.getRawVideoFrameSize(0), f.getRGB24VideoFrameSize());
    for (uint32_t i = 0; i < 3; ++i) {
        Model m{bufferBytes(g, n, 1000 + i), std::vector<bool>(n, true)};
        std::vector<char> buf(m.b.begin(), m.b.end());
        if (i < 2) { // past the end nothing is read, and the walk runs over the old bytes
            std::copy(plan.frames[i].begin(), plan.frames[i].end(), m.b.begin());
            if (topDown) m.flip(g);
        }
        f.readRGB24VideoFrame(buf.data());
        ASSERT_EQ(f.getErrorCode(), avi::errors::NO_ERROR) << f.getErrorMsg();
        m.convert(g);
        ASSERT_TRUE(sameDefinedBytes(m, buf)) << "read " << i;
    }
}

class RepackWalk : public ::testing::TestWithParam<uint32_t> {};

TEST_P(RepackWalk, MatchesPlainWalkOverGeometries) {
    const uint32_t bits = GetParam();
    std::vector<std::pair<uint32_t, uint32_t>> sizes = {{640, 3}, {1030, 2}, {1031, 2}}; // past one block
    // Frames of several strips take the strip-by-strip read for 16 and 32 bits.
    if (bits == 16 || bits == 32) sizes.insert(sizes.end(), {{1024, 300}, {1028, 257}});
    for (uint32_t w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 17})
        for (uint32_t h : {1, 2, 3, 5}) sizes.push_back({w, h});
    std::vector<Rgbq> map;
    for (unsigned k = 0; k < 256 && bits == 8; ++k) map.push_back({uint8_t(k * 7 + 1), uint8_t(k ^ 0x5A), uint8_t(~k), 9});
    for (auto [w, h] : sizes)
        for (bool topDown : {false, true}) checkAgainstWalk({w, h, bits, h * ((w * bits + 31) / 32 * 4), map}, topDown);
}

INSTANTIATE_TEST_SUITE_P(Depths, RepackWalk, ::testing::Values(1u, 2u, 4u, 8u, 16u, 24u, 32u));

TEST(RepackWalk, FramesWhoseSizeDisagreesWithTheGeometry) {
    const std::vector<Rgbq> shortMap = {{10, 20, 30, 0}, {40, 50, 60, 0}, {70, 80, 90, 0}};
    const std::pair<Geo, bool> cases[] = {
        {{4, 1, 16, 7}, false},  // odd size: the walk ends behind the word at byte 1
        {{4, 2, 16, 40}, false}, // larger than the geometry
        {{4, 2, 8, 6}, false},   // smaller: only the end of the output is covered
        {{4, 1, 32, 13}, false}, // partial last pixel
        {{4, 3, 8, 13}, true},   // rows of 4, the last byte stays in place
        {{5, 2, 8, 16, shortMap}, false},
        {{4, 2, 8, 8, shortMap}, true},
    };
    for (const auto& [g, topDown] : cases) checkAgainstWalk(g, topDown);
}

struct Opened {
    TempDir dir;
    avi::File f;
    Opened(uint32_t w, uint32_t h, uint16_t bits, Bytes frame, std::vector<Rgbq> map = {}) {
        AviPlan plan;
        plan.video = {int32_t(w), int32_t(h), bits, 0, 1, 25, map};
        plan.frames = {frame};
        writeFile(dir.path("e.avi"), buildAvi(plan).bytes);
        EXPECT_TRUE(f.open(dir.path("e.avi").c_str(), "rb")) << f.getErrorMsg();
    }
    Bytes readRGB24() { // into a buffer of exactly the stated size, filled with 0xEE
        std::vector<char> buf(std::max(f.getRawVideoFrameSize(0), f.getRGB24VideoFrameSize()), char(0xEE));
        f.readRGB24VideoFrame(buf.data());
        EXPECT_EQ(f.getErrorCode(), avi::errors::NO_ERROR);
        return Bytes(buf.begin(), buf.end());
    }
};

Bytes words(std::initializer_list<uint16_t> ws) {
    Bytes out;
    for (uint16_t w : ws) append(out, le16(w));
    return out;
}

TEST(RepackEdges, FiveBitChannelsGoToTheTopOfTheirByte) {
    EXPECT_EQ(Opened(4, 2, 16, words({0x7FFF, 0xFFFF, 0x001F, 0x03E0, 0x7C00, 0x8000, 0x0421, 0x2D6B})).readRGB24(),
              Bytes({248, 248, 248, 248, 248, 248, 248, 0, 0, 0, 248, 0, 0, 0, 248, 0, 0, 0, 8, 8, 8, 88, 88, 88}));
}

TEST(RepackEdges, OddWidth16BitStepsTwoBytesPastEachStoredRow) {
    // Width 3: stored rows of 8 bytes (3 pixels, a pad word), a source stride of
    // 10: output row 1 begins at the second stored pixel of row 1. Row 0's pad
    // keeps stored bytes 9 to 11, row 1's pad the fill behind the frame.
    EXPECT_EQ(Opened(3, 2, 16, words({0x001F, 0x03E0, 0x7C00, 0x0421, 0x7FFF, 0x0842, 0x1084, 0x2108})).readRGB24(),
              Bytes({248, 0, 0, 0, 248, 0, 0, 0, 248, 0x7F, 0x42, 0x08, //
                     16, 16, 16, 32, 32, 32, 64, 64, 64, 0xEE, 0xEE, 0xEE}));
}

TEST(RepackEdges, Rgb32WidthFourLeavesTheLastQuarter) {
    const Bytes frame = patternBytes(32, 7);
    Bytes want;
    for (size_t p = 0; p < 8; ++p) append(want, Bytes(&frame[4 * p], &frame[4 * p + 3]));
    append(want, Bytes(frame.begin() + 24, frame.end()));
    EXPECT_EQ(Opened(4, 2, 32, frame).readRGB24(), want);
}

TEST(RepackEdges, PaddedFormsDoNotWriteTheOutputPad) {
    const std::vector<Rgbq> map = {{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}, {10, 11, 12, 0}};
    // Width 1: rows of 4 bytes stored and put out; pad bytes 3 and 7 keep what was read.
    EXPECT_EQ(Opened(1, 2, 8, {2, 0xA1, 0xA2, 0xA3, 3, 0xB1, 0xB2, 0xB3}, map).readRGB24(),
              Bytes({7, 8, 9, 0xA3, 10, 11, 12, 0xB3}));
    // Width 3: both output pads lie past the stored frame and keep the fill; the
    // stored pad byte 9 is no pixel and never looked up.
    EXPECT_EQ(Opened(3, 2, 8, {0, 1, 2, 9, 3, 2, 1, 9}, map).readRGB24(),
              Bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 0xEE, 0xEE, 0xEE, 10, 11, 12, 7, 8, 9, 4, 5, 6, 0xEE, 0xEE, 0xEE}));
}

TEST(RepackSizes, PadsAndFrameSizesByWidthAndDepth) {
    struct Row {
        uint32_t w, h;
        uint16_t bits;
        uint32_t stored, indexedPad, rgb24Pad, pad555, rgb24Size, indexedSize;
    } const rows[] = {
        {1, 3, 8, 12, 3, 1, 2, 12, 12}, {2, 3, 8, 12, 2, 2, 0, 24, 12}, {3, 2, 16, 16, 1, 3, 2, 24, 0},
        {4, 2, 16, 16, 0, 0, 0, 24, 0}, {5, 1, 32, 20, 3, 1, 2, 20, 0}, {6, 2, 24, 40, 2, 2, 0, 40, 0},
        {7, 1, 1, 4, 1, 3, 2, 0, 0},    {8, 2, 4, 8, 0, 0, 0, 48, 0},   {9, 2, 2, 8, 3, 1, 2, 56, 0},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(::testing::Message() << r.w << "x" << r.h << " " << r.bits << " bits");
        Opened o(r.w, r.h, r.bits, patternBytes(r.stored, 3));
        EXPECT_EQ(o.f.getIndexedPadLength(), r.indexedPad);
        EXPECT_EQ(o.f.getRgb24PadLength(), r.rgb24Pad);
        EXPECT_EQ(o.f.getRgb555PadLength(), r.pad555);
        EXPECT_EQ(o.f.getRGB24VideoFrameSize(), r.rgb24Size);
        EXPECT_EQ(o.f.getIndexedVideoFrameSize(), r.indexedSize);
    }
}

} // namespace
