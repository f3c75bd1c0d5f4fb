#include "video_test_support.h"

#include <gtest/gtest.h>

using namespace korvatest;

namespace {

// Every plane the family writes holds min in all width x height elements, and
// the element after them is left alone; YCbCr shares the three-plane kernels.
TEST(EmptyPictures, FillTheirPlanesWithTheLowestValue) {
    forEachVideoType([](auto type) {
        constexpr int N = decltype(type)::value;
        const auto t = static_cast<VideoDataType>(N);
        EXPECT_EQ(MM_GetToYCbCrChannelsEmptyFcn(t), MM_GetToRGBChannelsEmptyFcn(t)) << N;
        if (N == VIDEO_LOGICAL) {
            EXPECT_FALSE(MM_GetToRGBChannelsEmptyFcn(t) || MM_GetToIntensityChannelsEmptyFcn(t));
            return;
        }
        for (auto [format, planes] : {std::pair{FOURCC_RGB, 3}, {FOURCC_GREY, 1}, {FOURCC_YUY2, 3}})
            for (auto [w, h] : {std::pair{5, 3}, {0, 3}, {3, 0}}) {
                const std::size_t n = std::size_t(w) * h;
                PlaneSet<N> got(n + 1, Elem<N>(1)), want(n + 1, Elem<N>(1));
                for (int p = 0; p < planes; ++p) std::fill_n(want.p[p].begin(), n, videoTraits<N>::min);
                MM_GetVideoEmptyFcn(format, t)(nullptr, got.ptr(0), got.ptr(1), got.ptr(2), w, h, 1);
                EXPECT_TRUE(got == want) << "type " << N << ", format " << format << ", " << w << "x" << h;
            }
    });
    // Spot values: black is the lowest value, not zero, for the signed types.
    short plane[3][2];
    MM_GetToRGBChannelsEmptyFcn(VIDEO_INT16)(nullptr, plane[0], plane[1], plane[2], 2, 1, 0);
    EXPECT_EQ(plane[2][1], -32768);
}

} // namespace
