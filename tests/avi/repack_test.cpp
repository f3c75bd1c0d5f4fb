#include <gtest/gtest.h>
#include <algorithm>
#include <korva/avi/repack_kernels.h>
#include <korva/korva.h>
#include "support/avi_builder.h"

using namespace korvatest;
namespace {
// The plain walks, written out here: 16 bits from the last word down, 32 bits from the first pixel up.
void plain555(const uint8_t* src, uint8_t* out, uint64_t pixels) {
    for (uint64_t k = pixels; k-- > 0;) {
        const unsigned w = src[2 * k] | src[2 * k + 1] << 8;
        out[3 * k] = uint8_t(w << 3), out[3 * k + 1] = uint8_t(w >> 2 & 0xF8), out[3 * k + 2] = uint8_t(w >> 7 & 0xF8);
    }
}
void plain32(const uint8_t* src, uint8_t* out, uint64_t pixels) {
    for (uint64_t k = 0; k < pixels; ++k)
        for (int c = 0; c < 3; ++c) out[3 * k + c] = src[4 * k + c];
}
uint32_t pad4(uint32_t n) { return n % 4 ? 4 - n % 4 : 0; }

// Two frames and a read past the end against a plain walk that stops in front of the buffer; bytes read from behind
// the buffer and colours of indexes past the colormap are undetermined.
void checkAgainstWalk(uint32_t w, uint32_t h, uint32_t bits, uint32_t V, bool topDown, std::vector<Rgbq> fileMap) {
    SCOPED_TRACE(::testing::Message() << bits << " bits " << w << "x" << h << " stored " << V << " down " << topDown);
    const bool ix = bits == 2 || bits == 4 || bits == 8;
    std::vector<Rgbq> map = fileMap; // files without colormap: the unscaled grey ramp
    for (uint8_t k = 0; fileMap.empty() && ix && k >> bits == 0 && map.size() < 256; ++k) map.push_back({k, k, k, 0});
    auto bytes = [&](size_t size, uint32_t seed) { // short colormap: each seventh byte may index past it
        Bytes out = patternBytes(size, seed);
        for (size_t i = 0, e = map.size() % 256; e && i < size; ++i)
            if (i % 7) out[i] = uint8_t(out[i] % e);
        return out;
    };
    const int64_t W = w, H = h, pad = pad4(3 * w), S = bits >= 24 ? V : ix || bits == 16 ? H * (3 * W + pad) : 0;
    AviPlan plan;
    plan.video = {int32_t(w), topDown ? -int32_t(h) : int32_t(h), uint16_t(bits), 0, 1, 25, fileMap};
    const std::vector<Bytes> frames = plan.frames = {bytes(V, w * 31 + h), bytes(V, w * 17 + h + 5)};
    const TempDir dir;
    writeFile(dir.path("e.avi"), buildAvi(plan).bytes);
    avi::File f;
    ASSERT_TRUE(f.open(dir.path("e.avi").c_str(), "rb")) << f.getErrorMsg();
    ASSERT_EQ(f.getRGB24VideoFrameSize(), uint64_t(S));
    ASSERT_EQ(f.getIndexedVideoFrameSize(), bits == 8 ? uint64_t(H * (W + pad4(w))) : 0u);
    const size_t n = std::max(f.getRawVideoFrameSize(0), f.getRGB24VideoFrameSize());
    for (uint32_t i = 0; i < 3; ++i) {
        Bytes b = bytes(n, 1000 + i);
        std::vector<bool> known(n, true);
        std::vector<char> buf(b.begin(), b.end());
        if (i < 2) std::copy(frames[i].begin(), frames[i].end(), b.begin()); // past the end: the old bytes
        for (uint32_t r = 0, row = V / h; i < 2 && topDown && r < h / 2; ++r) // rows of stored size over height
            std::swap_ranges(b.begin() + r * row, b.begin() + (r + 1) * row, b.begin() + (h - 1 - r) * row);
        f.readRGB24VideoFrame(buf.data());
        ASSERT_EQ(f.getErrorCode(), avi::errors::NO_ERROR) << f.getErrorMsg();
        auto get = [&](int64_t at, bool& ok) -> unsigned {
            if (at < 0 || at >= int64_t(n)) return ok = false, 0;
            return ok = ok && known[size_t(at)], b[size_t(at)];
        };
        auto pixel = [&](int64_t s, int64_t out) { // blue, green, red put at out and up
            bool ok = true;
            unsigned v[3] = {0, 0, 0}, k = 0;
            if (bits == 16) { // each 5-bit channel to the top of its byte
                const unsigned lo = get(s, ok), word = lo | get(s + 1, ok) << 8;
                v[0] = word << 3, v[1] = (word >> 2) & 0xF8, v[2] = (word >> 7) & 0xF8;
            } else if (bits == 32) {
                for (; k < 3; ++k) v[k] = get(s + k, ok);
            } else if (k = get(s, ok), (ok = ok && k < map.size())) {
                v[0] = map[k].blue, v[1] = map[k].green, v[2] = map[k].red;
            }
            for (k = 0; k < 3; ++k) b.at(size_t(out + k)) = uint8_t(v[k]), known.at(size_t(out + k)) = ok;
        };
        for (int64_t r = 0, out = 0; bits == 32 && r < H; ++r, out += pad)
            for (int64_t c = 0; c < W; ++c, out += 3) pixel(4 * (r * W + c), out);
        for (int64_t s = V - (ix ? 1 : 2), out = S - 3; (ix || bits == 16) && !pad && s >= 0 && out >= 0; out -= 3)
            pixel(s, out), s -= ix ? 1 : 2;
        for (int64_t r = H - 1, out = S - 3 - pad; (ix || bits == 16) && pad && r >= 0; --r, out -= pad)
            for (int64_t c = W - 1; c >= 0; --c, out -= 3) // 16 bits: the source stride counts the pad in pixels
                pixel(ix ? r * (W + pad4(w)) + c : r * 2 * (W + (W % 2 ? 2 : 0)) + 2 * c, out);
        size_t defined = 0;
        for (size_t k = 0; k < n; ++k)
            if (known[k] && ++defined) { ASSERT_EQ(uint8_t(buf[k]), b[k]) << "read " << i << " byte " << k; }
        ASSERT_GE(defined, n / 4) << "read " << i;
    }
}
class RepackWalk : public ::testing::TestWithParam<uint32_t> {};
TEST_P(RepackWalk, MatchesPlainWalkOverGeometries) {
    const uint32_t bits = GetParam();
    std::vector<std::pair<uint32_t, uint32_t>> sizes = {{640, 3}, {1030, 2}, {1031, 2}};
    if (bits == 16 || bits == 32) sizes.insert(sizes.end(), {{1024, 300}, {1028, 257}}); // strip-by-strip reads
    for (uint32_t w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 17})
        for (uint32_t h : {1, 2, 3, 5}) sizes.push_back({w, h});
    std::vector<Rgbq> map(bits == 8 ? 256 : 0);
    for (unsigned k = 0; k < map.size(); ++k) map[k] = {uint8_t(k * 7 + 1), uint8_t(k ^ 0x5A), uint8_t(~k), 9};
    for (auto [w, h] : sizes)
        for (bool topDown : {false, true}) checkAgainstWalk(w, h, bits, h * ((w * bits + 31) / 32 * 4), topDown, map);
}
INSTANTIATE_TEST_SUITE_P(Depths, RepackWalk, ::testing::Values(1u, 2u, 4u, 8u, 16u, 24u, 32u));

TEST(RepackWalk, FramesWhoseSizeDisagreesWithTheGeometry) {
    // Odd 16-bit size (the walk ends behind the word at byte 1), larger, smaller (only the end of the output
    // is covered), partial last 32-bit pixel, rows of 4 with the last byte in place, then short colormaps.
    const uint32_t cases[][6] = {{4, 1, 16, 7, 0, 0},  {4, 2, 16, 40, 0, 0}, {4, 2, 8, 6, 0, 0}, {4, 1, 32, 13, 0, 0},
                                 {4, 3, 8, 13, 1, 0}, {5, 2, 8, 16, 0, 1},  {4, 2, 8, 8, 1, 1}};
    const std::vector<Rgbq> shortMap = {{10, 20, 30, 0}, {40, 50, 60, 0}, {70, 80, 90, 0}};
    for (auto& c : cases) checkAgainstWalk(c[0], c[1], c[2], c[3], c[4], c[5] ? shortMap : std::vector<Rgbq>{});
}

// Every variant gives the plain walk's bytes, into a buffer between guard bytes and in place as the repacking runs
// them (16-bit words grow from the start, 32-bit pixels shrink towards it); bytes outside the run stay untouched.
TEST(RepackKernels, EveryVariantMatchesThePlainWalk) {
    const std::vector<avi::repack::Kernels> sets = avi::repack::availableKernels();
    ASSERT_STREQ(sets.front().name, "plain");
    for (const avi::repack::Kernels& set : sets)
        for (uint64_t n : {0, 1, 2, 7, 8, 11, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 128, 129, 1000, 4099})
            for (unsigned bytes : {2u, 4u})
                for (long shift : {0, 1, 21, 32, 63}) { // where the output lies against whole 64-byte lines
                    SCOPED_TRACE(::testing::Message() << set.name << ", " << n << " pixels of " << bytes
                                                      << " bytes, output shifted by " << shift);
                    const avi::repack::Run plain = bytes < 4 ? plain555 : plain32,
                                           run = bytes < 4 ? set.rgb555 : set.rgb32;
                    const Bytes source = patternBytes(4 * n + 128, uint32_t(n));
                    Bytes want(3 * n + 128, uint8_t(0xA5 + bytes)), got = want;
                    plain(source.data(), want.data() + shift, n), run(source.data(), got.data() + shift, n);
                    EXPECT_EQ(got, want);
                    Bytes frame(source.begin(), source.begin() + long((bytes == 2 ? 3 : 4) * n + 80)),
                        expected = frame;
                    plain(expected.data() + shift, expected.data() + shift, n);
                    run(frame.data() + shift, frame.data() + shift, n);
                    EXPECT_EQ(frame, expected) << "in place";
                }
}
} // namespace
