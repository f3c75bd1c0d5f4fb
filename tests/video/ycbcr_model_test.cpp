#include "video_test_support.h"
#include "ycbcr_reference.h"

#include <gtest/gtest.h>

#include <string>

using namespace korvaref;

namespace {

using Bytes = std::vector<int>;

// The worked values of the colour model, held by the plain maps that the
// kernel tests compare against.
TEST(YCbCrModel, WorkedValues) {
    const Bytes rows[] = {{0, 0, 0, 16, 128, 128, 0, 0, 0},
                          {255, 255, 255, 234, 128, 128, 254, 254, 254},
                          {128, 128, 128, 126, 128, 128, 128, 128, 128},
                          {255, 0, 0, 81, 90, 240, 254, 0, 0},
                          {0, 255, 0, 144, 54, 34, 0, 254, 0},
                          {0, 0, 255, 41, 240, 110, 0, 0, 255}};
    for (const Bytes& row : rows) {
        const int r = row[0], g = row[1], b = row[2];
        const RGB back = rgbOf(row[3], row[4], row[5]);
        EXPECT_EQ((Bytes{r, g, b, lumaOf(r, g, b), cbOf(r, g, b), crOf(r, g, b), back.r, back.g, back.b}), row);
    }
    for (auto [y, grey] : {std::pair{235, 255}, {16, 0}, {0, 0}, {255, 255}}) {
        const RGB c = rgbOf(y, 128, 128);
        EXPECT_EQ((Bytes{c.r, c.g, c.b}), (Bytes{grey, grey, grey})) << y;
    }
    EXPECT_EQ((Bytes{lumaOfIntensity(0), lumaOfIntensity(128), lumaOfIntensity(255)}), (Bytes{16, 126, 234}));
    EXPECT_EQ((Bytes{intensityOfLuma(0), intensityOfLuma(16), intensityOfLuma(100), intensityOfLuma(116),
                     intensityOfLuma(234), intensityOfLuma(235), intensityOfLuma(240)}),
              (Bytes{0, 0, 97, 116, 253, 255, 255}));
}

// Both copies of the tables, at every input: the 8-bit members of the
// families that read each copy, run over pictures of two columns that hold
// every pair of the other two samples for one leading sample a. Column 0
// holds (a, hi, lo) at row hi x 256 + lo, column 1 (a, lo, hi).
TEST(YCbCrModel, KernelsApplyTheMapsAtEveryInput) {
    const int H = 65536, N = 2 * H;
    std::vector<uint8_t> rgbPlanes(3 * N), y(N), chroma(2 * H), yuy2(4 * H), rgb(8 * H), back(3 * N);
    uint8_t* const planes[3] = {back.data(), back.data() + N, back.data() + 2 * N};
    for (int a = 0; a < 256; ++a) {
        int wrong = 0;
        auto check = [&](bool right, const char* what, int s) {
            if (!right && wrong++ < 5) ADD_FAILURE() << what << " at " << a << ", " << (s >> 8) << ", " << (s & 255);
        };
        for (int s = 0; s < H; ++s) {
            const uint8_t hi = uint8_t(s >> 8), lo = uint8_t(s);
            rgbPlanes[s] = rgbPlanes[H + s] = uint8_t(a);
            rgbPlanes[N + s] = hi, rgbPlanes[N + H + s] = lo, rgbPlanes[2 * N + s] = lo, rgbPlanes[2 * N + H + s] = hi;
        }
        // Forward, R G B = (a, hi, lo): the first copy (one pixel at a time)
        // into planes, the second into a frame.
        MM_GetRGBToYCbCrChannelsInputFcn_mmr(VIDEO_UINT8)(rgbPlanes.data(), y.data(), chroma.data(), chroma.data() + H,
                                                          2, H, 1);
        MM_GetRGBToYCbCrChannelsOutputFcn(VIDEO_UINT8)(rgbPlanes.data(), rgbPlanes.data() + N, rgbPlanes.data() + 2 * N,
                                                       yuy2.data(), 2, H, 1);
        for (int s = 0; s < H; ++s) {
            const int hi = s >> 8, lo = s & 255, luma = lumaOf(a, hi, lo), cb = cbOf(a, hi, lo), cr = crOf(a, hi, lo);
            check(y[s] == luma && chroma[s] == cb && chroma[H + s] == cr && y[H + s] == lumaOf(a, lo, hi),
                  "first copy, forward", s);
            const uint8_t* group = yuy2.data() + 4 * s;
            check(group[0] == luma && group[1] == cb && group[2] == lumaOf(a, lo, hi) && group[3] == cr,
                  "second copy, forward", s);
        }
        // Inverse, Y Cb Cr = (hi, a, lo): the first copy from planes into a
        // frame (bottom-up rows of 8 bytes), the second from a frame whose
        // groups are hi, a, lo, lo.
        for (int s = 0; s < H; ++s) {
            y[s] = uint8_t(s >> 8), y[H + s] = uint8_t(s), chroma[s] = uint8_t(a), chroma[H + s] = uint8_t(s);
            yuy2[4 * s] = uint8_t(s >> 8), yuy2[4 * s + 1] = uint8_t(a), yuy2[4 * s + 2] = yuy2[4 * s + 3] = uint8_t(s);
        }
        MM_GetYCbCrToRGBChannelsOutputFcn(VIDEO_UINT8)(y.data(), chroma.data(), chroma.data() + H, rgb.data(), 2, H, 1);
        MM_GetYCbCrToRGBChannelsInputFcn(VIDEO_UINT8)(yuy2.data(), planes[0], planes[1], planes[2], 2, H, 0);
        for (int s = 0; s < H; ++s) {
            const RGB c = rgbOf(s >> 8, a, s & 255);
            const uint8_t* pixel = rgb.data() + 8 * (H - 1 - s);
            check(pixel[2] == c.r && pixel[1] == c.g && pixel[0] == c.b, "first copy, inverse", s);
            check(planes[0][2 * s] == c.r && planes[1][2 * s] == c.g && planes[2][2 * s] == c.b, "second copy, inverse",
                  s);
        }
        ASSERT_EQ(wrong, 0);
    }
}

// Intensity to luma (second copy) and luma to intensity, at every input.
TEST(YCbCrModel, KernelsApplyTheLumaMapsAtEveryInput) {
    uint8_t ramp[256], frame[512], intensity[256];
    for (int i = 0; i < 256; ++i) ramp[i] = frame[2 * i] = uint8_t(i), frame[2 * i + 1] = uint8_t(255 - i);
    uint8_t yuy2[512];
    MM_GetIntensityToYCbCrChannelsOutputFcn(VIDEO_UINT8)(ramp, nullptr, nullptr, yuy2, 256, 1, 1);
    MM_GetYCbCrToIntensityChannelsInputFcn(VIDEO_UINT8)(frame, intensity, nullptr, nullptr, 256, 1, 0);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(yuy2[2 * i], lumaOfIntensity(i)) << i;
        EXPECT_EQ(yuy2[2 * i + 1], 128) << i;
        EXPECT_EQ(intensity[i], intensityOfLuma(i)) << i;
    }
}

} // namespace
