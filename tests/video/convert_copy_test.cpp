#include "element_test_support.h"

#include <korva/video/quantise.h>

#include <gtest/gtest.h>

using namespace korvatest;
using korva::video::quantiseToEightBit;

namespace {

// Every member against the walk as told: out[i], out[n + i], out[2n + i] from
// element i of the three planes; the bytes after the three planes, and all
// of them for an empty picture, stay as they were. The intensity members take plane0 for all three and get null
// for the others.
TEST(RGB24ConvertCopy, EveryMemberMatchesThePlainWalk) {
    forEachVideoType([](auto type) {
        constexpr int N = decltype(type)::value;
        const auto t = static_cast<VideoDataType>(N);
        const MMVideoConvertCopyFcn rgb = MM_GetRGBToRGB24ChannelsConvertCopyFcn(t);
        const MMVideoConvertCopyFcn grey = MM_GetIntensityToRGB24ChannelsConvertCopyFcn(t);
        ASSERT_TRUE(rgb && grey) << N;
        for (auto [w, h] : sizesWithEmpty()) {
            SCOPED_TRACE("type " + std::to_string(N) + ", " + sizeName(w, h, 0));
            const std::size_t n = std::size_t(w) * h;
            std::vector<Elem<N>> planes[3];
            for (int c = 0; c < 3; ++c) planes[c] = randomElements<N>(n, uint32_t(w * 100 + h * 3 + c));
            std::vector<uint8_t> want(3 * n + 8, 0xa5), wantGrey(want);
            for (std::size_t i = 0; i < n; ++i)
                for (int c = 0; c < 3; ++c) {
                    want[c * n + i] = quantiseToEightBit<N>(planes[c][i]);
                    wantGrey[c * n + i] = quantiseToEightBit<N>(planes[0][i]);
                }
            std::vector<uint8_t> got(3 * n + 8, 0xa5), gotGrey(got);
            rgb(planes[0].data(), planes[1].data(), planes[2].data(), got.data(), w, h);
            grey(planes[0].data(), nullptr, nullptr, gotGrey.data(), w, h);
            EXPECT_EQ(got, want);
            EXPECT_EQ(gotGrey, wantGrey);
        }
    });
}

// One element through the RGB member, as the red plane.
template <int N> int reduced(Elem<N> v) {
    const Elem<N> other{};
    uint8_t out[3];
    MM_GetRGBToRGB24ChannelsConvertCopyFcn(static_cast<VideoDataType>(N))(&v, &other, &other, out, 1, 1);
    return out[0];
}

TEST(RGB24ConvertCopy, WorkedValues) {
    EXPECT_EQ((std::vector<int>{reduced<0>(0.5), reduced<0>(0.25), reduced<0>(1.5), reduced<0>(-0.5),
                                reduced<0>(0.00195), reduced<0>(0.00197), reduced<1>(0.5f), reduced<2>(-1),
                                reduced<3>(77), reduced<4>(-1), reduced<5>(32767), reduced<5>(1), reduced<5>(65534),
                                reduced<6>(-1), reduced<6>(INT32_MIN), reduced<6>(INT32_MAX),
                                reduced<7>(2147483647u), reduced<0>(1e30)}),
              (std::vector<int>{128, 64, 255, 0, 0, 1, 128, 127, 77, 127, 127, 0, 255, 128, 0, 255, 128, 0}));
    EXPECT_EQ((std::vector<int>{reduced<8>(0), reduced<8>(1), reduced<8>(2), reduced<8>(255)}),
              (std::vector<int>{0, 255, 255, 255}));
}

} // namespace
