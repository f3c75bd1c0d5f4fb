#include "video_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace korvatest;

namespace {

const double RED = 0x1.334f98649b069p-10, GREEN = 0x1.2dbea793cc8e6p-9, BLUE = 0x1.d4dc71df3f82ep-12;

// A pixel's intensity as told: the weighted sum in this order, then the low
// value, the high value or the scaled value of the type.
const double LOW[9] = {0, 0, -127, 0, -32768, 0, -2147483648.0, 0, 0};
const double HIGH[9] = {1, 1, 127, 255, 32767, 65535, 2147483647.0, 4294967295.0, 1};
template <int N> Elem<N> intensity(uint8_t r, uint8_t g, uint8_t b) {
    const double y = (double(r) * RED + double(g) * GREEN) + double(b) * BLUE;
    if (!(y > 0.0)) return Elem<N>(LOW[N]);
    if (!(y < 1.0)) return Elem<N>(HIGH[N]);
    const int32_t byte = int32_t(y * 255.0 + 0.5);
    if constexpr (N == VIDEO_DOUBLE) return y;
    else if constexpr (N == VIDEO_SINGLE) return float(y);
    else if constexpr (N == VIDEO_INT8) return int8_t(int32_t(y * 255.0 + 0.5 - 128.0));
    else if constexpr (N == VIDEO_UINT8) return uint8_t(byte);
    else if constexpr (N == VIDEO_INT16) return int16_t(int32_t(y * 255.0 * 257.0 - 32768.0));
    else if constexpr (N == VIDEO_UINT16) return uint16_t(byte * 257);
    else if constexpr (N == VIDEO_INT32) return int32_t(y * 16843009.0 * 255.0 - 2147483648.0);
    else if constexpr (N == VIDEO_UINT32) return uint32_t(byte) * 0x01010101u;
    else return Elem<N>(int32_t(y + 0.5));
}

// The walks as told, handing on each pixel's plane index, red, green and blue:
// the packed frame from its last byte backwards, line by line, stepping over
// the filler first; the three-plane source index by index.
template <class Put> void walkPacked(const uint8_t* frame, int w, int h, int flag, Put put) {
    const int pad = (4 - (3 * w) % 4) % 4;
    const uint8_t* p = frame + std::ptrdiff_t(h) * (3 * w + pad);
    for (int y = 0; y < h; ++y) {
        p -= pad;
        for (int x = w - 1; x >= 0; --x) {
            p -= 3;
            put(flag ? std::size_t(x) * h + y : std::size_t(y) * w + x, p[2], p[1], p[0]);
        }
    }
}
template <class Put> void walkThreePlanes(const uint8_t* src, int w, int h, int flag, Put put) {
    const std::size_t n = std::size_t(w) * h;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const std::size_t s = std::size_t(y) * w + x;
            put(flag ? s : std::size_t(x) * h + y, src[s], src[n + s], src[2 * n + s]);
        }
}

// Every member of the RGB and intensity families, both forms, flags 0, 1 and
// 2, over random frames with random filler. Intensity members get null for
// plane1 and plane2. 300 columns span several intensity tiles; the last
// size is a picture of several megabytes, which the large transposes of both
// forms write past the cache.
TEST(RGBInput, EveryMemberMatchesThePlainWalk) {
    forEachVideoType([&](auto type) {
        constexpr int N = decltype(type)::value;
        const auto t = static_cast<VideoDataType>(N);
        // Packed, then three planes; the selectors run again leave the kernels working.
        const MMVideoInputFcn rgb[2] = {MM_GetRGBToRGBChannelsInputFcn(t),
                                        MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, t, true)};
        const MMVideoInputFcn grey[2] = {MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_GREY, t, false),
                                         MM_GetRGBToIntensityChannelsInputFcn_mmr(t)};
        ASSERT_TRUE(rgb[0] && rgb[1] && grey[0] && grey[1]) << N;
        for (auto [w, h] : sizesWith({{300, 40}, {1501, 1000}})) {
            const std::size_t n = std::size_t(w) * h;
            const std::vector<uint8_t> in[2] = {randomBytes(rgbFrameBytes(w, h), w * 1000 + h),
                                                randomBytes(3 * n, h * 1000 + w)};
            for (int flag : {0, 1, 2}) {
                if (w > 1000 && flag == 2) continue;
                // Per form k: the RGB planes, and the intensity plane in wantGrey[k].
                Planes<N> want[2] = {markedPlanes<N>(n), markedPlanes<N>(n)}, wantGrey = markedPlanes<N>(n);
                auto put = [&](int k) {
                    return [&, k](std::size_t i, uint8_t r, uint8_t g, uint8_t b) {
                        want[k][0][i] = raised<N>(r), want[k][1][i] = raised<N>(g), want[k][2][i] = raised<N>(b);
                        wantGrey[k][i] = intensity<N>(r, g, b);
                    };
                };
                walkPacked(in[0].data(), w, h, flag, put(0));
                walkThreePlanes(in[1].data(), w, h, flag, put(1));
                for (int k = 0; k < 2; ++k) {
                    SCOPED_TRACE(sizeName(N, w, h, flag) + (k ? ", three planes" : ", packed"));
                    Planes<N> got = markedPlanes<N>(n);
                    rgb[k](in[k].data(), got[0].data(), got[1].data(), got[2].data(), w, h, flag);
                    EXPECT_TRUE(sameBytes(got, want[k]));
                    if (w > 1000) continue; // the large transposes are the RGB members'
                    std::vector<Elem<N>> gotGrey(n, Elem<N>(0x5a));
                    grey[k](in[k].data(), gotGrey.data(), nullptr, nullptr, w, h, flag);
                    EXPECT_TRUE(sameBytes(gotGrey, wantGrey[k]));
                }
            }
        }
    });
}

// Worked cases that do not lean on the walks above.
TEST(RGBInput, WorkedCases) {
    // Width 1, height 2: bytes 4 to 6 are the top line, 3 and 7 filler.
    const uint8_t tall[8] = {10, 20, 30, 99, 40, 50, 60, 99};
    uint8_t r[6], g[6], b[6];
    MM_GetRGBToRGBChannelsInputFcn(VIDEO_UINT8)(tall, r, g, b, 1, 2, 0);
    EXPECT_EQ((std::vector<int>{r[0], g[0], b[0], r[1], g[1], b[1]}), (std::vector<int>{60, 50, 40, 30, 20, 10}));
    // Three planes with flag 0: source byte 1 lands at index height, no flip.
    const uint8_t source[3 * 6] = {1, 2, 3, 4, 5, 6};
    MM_GetRGBToRGBChannelsInputFcn_mmr(VIDEO_UINT8)(source, r, g, b, 3, 2, 0);
    EXPECT_EQ((std::vector<int>(r, r + 6)), (std::vector<int>{1, 4, 2, 5, 3, 6}));
    // A width or height below 1 writes nothing, in every form.
    for (auto [w, h] : {std::pair{0, 4}, {4, 0}, {-1, -3}, {-2, 2}})
        for (bool mmr : {false, true})
            for (int order : {0, 1}) {
                double p[3][16] = {{7}, {7}, {7}};
                MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, mmr)(tall, p[0], p[1], p[2], w, h, order);
                EXPECT_EQ(p[0][0] + p[1][0] + p[2][0], 21) << w << "x" << h;
            }
    // One pixel through the packed intensity form of each type, seen as a double.
    struct { int type, r, g, b; double want; } const rows[] = {
        {2, 0, 0, 0, -127}, {4, 0, 0, 0, -32768}, {2, 255, 255, 255, 127}, {4, 255, 255, 255, 32767},
        {6, 255, 255, 255, 2147483647}, {7, 255, 255, 255, 4294967295}, {0, 128, 128, 128, 0.5019607843137255},
        {1, 128, 128, 128, double(0.501960813999176f)}, {2, 128, 128, 128, 0}, {3, 128, 128, 128, 128},
        {4, 128, 128, 128, 128}, {5, 128, 128, 128, 32896}, {6, 128, 128, 128, 8421504}, {8, 128, 128, 128, 1},
        {7, 128, 128, 128, 2155905152}, {3, 1, 0, 0, 0}, {4, 1, 0, 0, -32691}, {6, 1, 0, 0, -2142448665},
        {4, 0, 0, 1, -32738}, {6, 0, 0, 1, -2145563192}, {3, 255, 255, 254, 255}, {4, 255, 255, 254, 32737},
        // Logical planes threshold the luminance at 0.5: grey 127 is below it.
        {8, 127, 127, 127, 0}, {8, 0, 0, 200, 0}, {8, 0, 255, 0, 1}};
    forEachVideoType([&](auto type) {
        constexpr int N = decltype(type)::value;
        for (const auto& row : rows) {
            if (row.type != N) continue;
            const uint8_t frame[4] = {uint8_t(row.b), uint8_t(row.g), uint8_t(row.r), 0};
            Elem<N> out{};
            MM_GetRGBToIntensityChannelsInputFcn(VideoDataType(N))(frame, &out, nullptr, nullptr, 1, 1, 0);
            EXPECT_DOUBLE_EQ(double(out), row.want) << "type " << N << ", " << row.r << " " << row.g << " " << row.b;
        }
    });
}

// Every plane the family writes holds min (not zero, for the signed types) in
// all width x height elements, and the element after them is left alone.
TEST(EmptyPictures, FillTheirPlanesWithTheLowestValue) {
    forEachVideoType([](auto type) {
        constexpr int N = decltype(type)::value;
        const auto t = static_cast<VideoDataType>(N);
        if (N == VIDEO_LOGICAL) return; // no blank picture, as the dispatch tests hold
        for (auto [format, planes] : {std::pair{FOURCC_RGB, 3}, {FOURCC_GREY, 1}, {FOURCC_YUY2, 3}})
            for (auto [w, h] : {std::pair{5, 3}, {0, 3}, {3, 0}}) {
                const std::size_t n = std::size_t(w) * h;
                Planes<N> got = markedPlanes<N>(n + 1, Elem<N>(1)), want = got;
                for (int p = 0; p < planes; ++p) std::fill_n(want[p].begin(), n, videoTraits<N>::min);
                MM_GetVideoEmptyFcn(format, t)(nullptr, got[0].data(), got[1].data(), got[2].data(), w, h, 1);
                EXPECT_EQ(got, want) << "type " << N << ", format " << format << ", " << w << "x" << h;
            }
    });
}

} // namespace
