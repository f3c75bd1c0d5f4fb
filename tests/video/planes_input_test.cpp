#include "video_test_support.h"

#include <gtest/gtest.h>

#include <string>

using namespace korvatest;

namespace {

// The walks as told: the packed frame from its last byte backwards, line by
// line, stepping over the filler first; the three-plane source index by index.
template <int N> void referencePacked(const uint8_t* frame, PlaneSet<N>& out, int w, int h, int columnOrder) {
    const int pad = (4 - (3 * w) % 4) % 4;
    const uint8_t* p = frame + static_cast<std::ptrdiff_t>(h) * (3 * w + pad);
    for (int y = 0; y < h; ++y) {
        p -= pad;
        for (int x = w - 1; x >= 0; --x) {
            p -= 3;
            const std::size_t i = columnOrder ? std::size_t(x) * h + y : std::size_t(y) * w + x;
            out.p[0][i] = raised<N>(p[2]), out.p[1][i] = raised<N>(p[1]), out.p[2][i] = raised<N>(p[0]);
        }
    }
}
template <int N> void referenceThreePlanes(const uint8_t* src, PlaneSet<N>& out, int w, int h, int columnOrder) {
    const std::size_t n = std::size_t(w) * h;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const std::size_t s = std::size_t(y) * w + x, d = columnOrder ? s : std::size_t(x) * h + y;
            for (int c = 0; c < 3; ++c) out.p[c][d] = raised<N>(src[c * n + s]);
        }
}

// Every member, both forms and both orders (2 stands for any non-zero flag),
// against the walks above over random frames whose filler is random as well.
// The last size is a picture of several megabytes in column order, which
// large transposes write past the cache.
TEST(RGBPlanesInput, EveryMemberMatchesThePlainWalk) {
    std::vector<std::pair<int, int>> sizes(std::begin(SIZES), std::end(SIZES));
    sizes.push_back({1501, 1000});
    forEachVideoType([&](auto type) {
        constexpr int N = decltype(type)::value;
        const auto t = static_cast<VideoDataType>(N);
        const MMVideoInputFcn packed = MM_GetRGBToRGBChannelsInputFcn(t);
        const MMVideoInputFcn planar = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, t, true);
        ASSERT_TRUE(packed && planar) << N;
        MM_GetRGBToRGBChannelsInputFcn(t); // selectors run again leave the kernels working
        for (auto [w, h] : sizes) {
            const std::size_t n = std::size_t(w) * h;
            const auto frame = randomBytes(rgbFrameBytes(w, h), w * 1000 + h);
            const auto source = randomBytes(3 * n, h * 1000 + w);
            for (int order : {0, 1, 2}) {
                if (w > 1000 && order != 1) continue;
                SCOPED_TRACE("type " + std::to_string(N) + ", " + std::to_string(w) + "x" + std::to_string(h) +
                             ", order " + std::to_string(order));
                PlaneSet<N> got(n), want(n);
                packed(frame.data(), got.ptr(0), got.ptr(1), got.ptr(2), w, h, order);
                referencePacked<N>(frame.data(), want, w, h, order);
                EXPECT_TRUE(got == want) << "packed";
                PlaneSet<N> gotMmr(n), wantMmr(n);
                planar(source.data(), gotMmr.ptr(0), gotMmr.ptr(1), gotMmr.ptr(2), w, h, order);
                referenceThreePlanes<N>(source.data(), wantMmr, w, h, order);
                EXPECT_TRUE(gotMmr == wantMmr) << "three planes";
            }
        }
    });
}

// Worked cases that do not lean on the walks above.
TEST(RGBPlanesInput, WorkedCases) {
    // Width 1, height 2: bytes 4 to 6 are the top line, 3 and 7 filler.
    const uint8_t tall[8] = {10, 20, 30, 99, 40, 50, 60, 99};
    uint8_t r[2], g[2], b[2];
    MM_GetRGBToRGBChannelsInputFcn(VIDEO_UINT8)(tall, r, g, b, 1, 2, 0);
    EXPECT_EQ((std::vector<int>{r[0], g[0], b[0], r[1], g[1], b[1]}), (std::vector<int>{60, 50, 40, 30, 20, 10}));
    // Width 3, height 2: pixel (1, 1) is the second pixel of the frame's first line.
    uint8_t wide[24] = {};
    wide[5] = 77;
    uint8_t rows[6] = {}, cols[6] = {}, g6[6], b6[6];
    MM_GetRGBToRGBChannelsInputFcn(VIDEO_UINT8)(wide, rows, g6, b6, 3, 2, 0);
    EXPECT_EQ(rows[4], 77);
    MM_GetRGBToRGBChannelsInputFcn(VIDEO_UINT8)(wide, cols, g6, b6, 3, 2, 1);
    EXPECT_EQ(cols[3], 77);
    // Logical: any non-zero sample is 1, per channel (blue 0, green 200, red 1).
    const uint8_t pixel[4] = {0, 200, 1, 0};
    uint8_t lr, lg, lb;
    MM_GetRGBToRGBChannelsInputFcn(VIDEO_LOGICAL)(pixel, &lr, &lg, &lb, 1, 1, 0);
    EXPECT_EQ((std::vector<int>{lr, lg, lb}), (std::vector<int>{1, 1, 0}));
    // Three planes with flag 0: source byte 1 lands at index height, no flip.
    const uint8_t source[3 * 6] = {1, 2, 3, 4, 5, 6};
    uint8_t mr[6], mg[6], mb[6];
    MM_GetRGBToRGBChannelsInputFcn_mmr(VIDEO_UINT8)(source, mr, mg, mb, 3, 2, 0);
    EXPECT_EQ((std::vector<int>(mr, mr + 6)), (std::vector<int>{1, 4, 2, 5, 3, 6}));
}

// A width or height below 1 writes nothing, in every form.
TEST(RGBPlanesInput, EmptyPicturesWriteNothing) {
    const uint8_t frame[64] = {};
    for (auto [w, h] : {std::pair{0, 4}, {4, 0}, {-1, -3}, {-2, 2}})
        for (bool mmr : {false, true})
            for (int order : {0, 1}) {
                double planes[3][16] = {{7}, {7}, {7}};
                MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, mmr)(frame, planes[0], planes[1],
                                                                               planes[2], w, h, order);
                EXPECT_EQ(planes[0][0] + planes[1][0] + planes[2][0], 21) << w << "x" << h;
            }
}

} // namespace
