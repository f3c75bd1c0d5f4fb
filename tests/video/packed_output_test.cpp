#include "element_test_support.h"

#include <korva/video/quantise.h>

#include <gtest/gtest.h>

using namespace korvatest;
using korva::video::quantiseToEightBit;

namespace {

// The walk as told: frame row r from the top of memory is picture line
// H - 1 - r; blue, green, red of element k at r * S + 3x; the filler skipped.
template <int N>
void referenceOutput(const Elem<N>* red, const Elem<N>* green, const Elem<N>* blue, uint8_t* frame, int w, int h,
                     int flag) {
    const int stride = (3 * w + 3) / 4 * 4;
    for (int r = 0; r < h; ++r) {
        const int y = h - 1 - r;
        for (int x = 0; x < w; ++x) {
            const std::size_t k = flag == 0 ? std::size_t(y) * w + x : std::size_t(x) * h + y;
            uint8_t* p = frame + std::size_t(r) * stride + 3 * x;
            p[0] = quantiseToEightBit<N>(blue[k]), p[1] = quantiseToEightBit<N>(green[k]);
            p[2] = quantiseToEightBit<N>(red[k]);
        }
    }
}

// Every member of both families, flags 0, 1 and 2, into frames filled with
// random bytes beforehand: the filler and anything past the frame must keep
// them, all of it for an empty picture. The intensity members get null for
// plane1 and plane2.
TEST(RGBOutput, EveryMemberMatchesThePlainWalk) {
    std::vector<std::pair<int, int>> sizes = sizesWithEmpty();
    sizes.push_back({250, 200});
    forEachVideoType([&](auto type) {
        constexpr int N = decltype(type)::value;
        const auto t = static_cast<VideoDataType>(N);
        const MMVideoOutputFcn rgb = MM_GetVideoOutputFcn(FOURCC_RGB, FOURCC_RGB, t);
        const MMVideoOutputFcn grey = MM_GetVideoOutputFcn(FOURCC_GREY, FOURCC_RGB, t);
        ASSERT_TRUE(rgb && grey) << N;
        for (auto [w, h] : sizes) {
            const std::size_t n = std::size_t(w) * h;
            std::vector<Elem<N>> planes[3];
            for (int c = 0; c < 3; ++c) planes[c] = randomElements<N>(n, uint32_t(h * 100 + w * 3 + c));
            const auto before = randomBytes(rgbFrameBytes(w, h) + 8, w + h);
            for (int flag : {0, 1, 2}) {
                SCOPED_TRACE("type " + std::to_string(N) + ", " + sizeName(w, h, flag));
                std::vector<uint8_t> got(before), want(before), gotGrey(before), wantGrey(before);
                rgb(planes[0].data(), planes[1].data(), planes[2].data(), got.data(), w, h, flag);
                referenceOutput<N>(planes[0].data(), planes[1].data(), planes[2].data(), want.data(), w, h, flag);
                EXPECT_EQ(got, want) << "RGB";
                grey(planes[0].data(), nullptr, nullptr, gotGrey.data(), w, h, flag);
                referenceOutput<N>(planes[0].data(), planes[0].data(), planes[0].data(), wantGrey.data(), w, h, flag);
                EXPECT_EQ(gotGrey, wantGrey) << "intensity";
            }
        }
    });
}

// Width 3, height 2: red 0 to 5, green 50 to 55, blue 100 to 105.
std::vector<int> smallFrame(int flag) {
    const uint8_t red[6] = {0, 1, 2, 3, 4, 5}, green[6] = {50, 51, 52, 53, 54, 55},
                  blue[6] = {100, 101, 102, 103, 104, 105};
    std::vector<uint8_t> frame(24, 7);
    MM_GetRGBToRGBChannelsOutputFcn(VIDEO_UINT8)(red, green, blue, frame.data(), 3, 2, flag);
    return std::vector<int>(frame.begin(), frame.end());
}

// One pixel of a grey picture, blue, green, red.
template <int N> std::vector<int> greyPixel(Elem<N> v) {
    uint8_t frame[4] = {7, 7, 7, 7};
    MM_GetIntensityToRGBChannelsOutputFcn(static_cast<VideoDataType>(N))(&v, nullptr, nullptr, frame, 1, 1, 0);
    return {frame[0], frame[1], frame[2], frame[3]};
}

TEST(RGBOutput, WorkedCases) {
    EXPECT_EQ(smallFrame(0), (std::vector<int>{103, 53, 3, 104, 54, 4, 105, 55, 5, 7, 7, 7,
                                               100, 50, 0, 101, 51, 1, 102, 52, 2, 7, 7, 7}));
    // Column order: plane element 1 is pixel (0, 1), which leads the frame.
    EXPECT_EQ(smallFrame(1), (std::vector<int>{101, 51, 1, 103, 53, 3, 105, 55, 5, 7, 7, 7,
                                               100, 50, 0, 102, 52, 2, 104, 54, 4, 7, 7, 7}));
    // Width 4 has no filler: the second line starts at byte 12.
    const uint8_t four[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    uint8_t frame[24];
    MM_GetRGBToRGBChannelsOutputFcn(VIDEO_UINT8)(four, four, four, frame, 4, 2, 0);
    EXPECT_EQ(frame[12], 1);
    EXPECT_EQ(greyPixel<0>(0.5), (std::vector<int>{128, 128, 128, 7}));
    EXPECT_EQ(greyPixel<8>(0), (std::vector<int>{0, 0, 0, 7}));
    EXPECT_EQ(greyPixel<8>(1), (std::vector<int>{255, 255, 255, 7}));
    EXPECT_EQ(greyPixel<8>(7), (std::vector<int>{255, 255, 255, 7}));
    EXPECT_EQ(greyPixel<4>(0), (std::vector<int>{128, 128, 128, 7}));
    EXPECT_EQ(greyPixel<5>(65535), (std::vector<int>{255, 255, 255, 7}));
    EXPECT_EQ(greyPixel<5>(65280), (std::vector<int>{254, 254, 254, 7}));
    // NaN in the green plane darkens green alone.
    const double red = 1.0, green = std::nan(""), blue = 0.5;
    MM_GetRGBToRGBChannelsOutputFcn(VIDEO_DOUBLE)(&red, &green, &blue, frame, 1, 1, 0);
    EXPECT_EQ((std::vector<int>{frame[0], frame[1], frame[2]}), (std::vector<int>{128, 0, 255}));
}

} // namespace
