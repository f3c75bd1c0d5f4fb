#include "video_test_support.h"

#include <korva/video/quantise.h>

#include <gtest/gtest.h>

#include <algorithm>

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

// Every RGB output and RGB24 copy member; the intensity ones take plane0 for all
// three colours and get null for the others. Frames are filled with random bytes
// beforehand: the filler and anything past the frame must keep them, all of it
// for an empty picture. Copies give out[i], out[n + i], out[2n + i] from element i.
TEST(RGBOutput, EveryMemberMatchesThePlainWalk) {
    std::vector<std::pair<int, int>> sizes = sizesWithEmpty();
    sizes.push_back({250, 200});
    forEachVideoType([&](auto type) {
        constexpr int N = decltype(type)::value;
        const auto t = static_cast<VideoDataType>(N);
        const MMVideoOutputFcn rgb = MM_GetVideoOutputFcn(FOURCC_RGB, FOURCC_RGB, t);
        const MMVideoOutputFcn grey = MM_GetVideoOutputFcn(FOURCC_GREY, FOURCC_RGB, t);
        const MMVideoConvertCopyFcn copy = MM_GetRGBToRGB24ChannelsConvertCopyFcn(t);
        const MMVideoConvertCopyFcn greyCopy = MM_GetIntensityToRGB24ChannelsConvertCopyFcn(t);
        ASSERT_TRUE(rgb && grey && copy && greyCopy) << N;
        for (auto [w, h] : sizes) {
            const std::size_t n = std::size_t(w) * h;
            std::vector<Elem<N>> planes[3];
            for (int c = 0; c < 3; ++c) planes[c] = randomElements<N>(n, uint32_t(h * 100 + w * 3 + c));
            const Elem<N>* const p[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
            const auto before = randomBytes(std::max<std::size_t>(rgbFrameBytes(w, h), 3 * n) + 8, w + h);
            for (int flag : {0, 1, 2}) {
                SCOPED_TRACE(sizeName(N, w, h, flag));
                std::vector<uint8_t> got(before), want(before), gotGrey(before), wantGrey(before);
                rgb(p[0], p[1], p[2], got.data(), w, h, flag);
                referenceOutput<N>(p[0], p[1], p[2], want.data(), w, h, flag);
                EXPECT_EQ(got, want) << "RGB";
                grey(p[0], nullptr, nullptr, gotGrey.data(), w, h, flag);
                referenceOutput<N>(p[0], p[0], p[0], wantGrey.data(), w, h, flag);
                EXPECT_EQ(gotGrey, wantGrey) << "intensity";
            }
            std::vector<uint8_t> got(before), want(before), gotGrey(before), wantGrey(before);
            for (std::size_t i = 0; i < n; ++i)
                for (int c = 0; c < 3; ++c) {
                    want[c * n + i] = quantiseToEightBit<N>(p[c][i]);
                    wantGrey[c * n + i] = quantiseToEightBit<N>(p[0][i]);
                }
            copy(p[0], p[1], p[2], got.data(), w, h);
            greyCopy(p[0], nullptr, nullptr, gotGrey.data(), w, h);
            EXPECT_EQ(got, want) << "RGB24 copy, " << w << "x" << h;
            EXPECT_EQ(gotGrey, wantGrey) << "intensity RGB24 copy, " << w << "x" << h;
        }
    });
}

// Width 3, height 2, red 0 to 5, green 50 to 55, blue 100 to 105: the bottom
// line leads the frame and the filler keeps its marker.
TEST(RGBOutput, WorkedFrame) {
    const uint8_t p[3][6] = {{0, 1, 2, 3, 4, 5}, {50, 51, 52, 53, 54, 55}, {100, 101, 102, 103, 104, 105}};
    std::vector<uint8_t> frame(24, 7);
    MM_GetRGBToRGBChannelsOutputFcn(VIDEO_UINT8)(p[0], p[1], p[2], frame.data(), 3, 2, 0);
    EXPECT_EQ(frame, (std::vector<uint8_t>{103, 53, 3, 104, 54, 4, 105, 55, 5, 7, 7, 7,
                                           100, 50, 0, 101, 51, 1, 102, 52, 2, 7, 7, 7}));
}

// A byte raised through the type's table and reduced again: unchanged for the
// unit-range and 8-bit types, one lower from 129 up for the wide integers, and
// 0 or 255 for logical planes.
TEST(Quantise, RaisedBytesComeBackAsTold) {
    forEachVideoType([](auto type) {
        constexpr int N = decltype(type)::value;
        buildEightBitLUT(static_cast<VideoDataType>(N));
        const bool wide = N >= VIDEO_INT16 && N <= VIDEO_UINT32;
        for (int i = 0; i < 256; ++i) {
            const int want = N == VIDEO_LOGICAL ? (i ? 255 : 0) : wide && i > 128 ? i - 1 : i;
            ASSERT_EQ(quantiseToEightBit<N>(raised<N>(uint8_t(i))), want) << "type " << N << ", byte " << i;
        }
    });
}

// Worked values, beyond what the tables produce.
TEST(Quantise, WorkedValues) {
    const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
    const std::pair<double, int> unit[] = {{0.5, 128}, {1.0, 255}, {1.5, 255}, {-0.5, 0}, {0.00195, 0}, {0.00197, 1},
                                           {nan, 0}, {inf, 0}, {-inf, 0}, {8421504.0, 255}, {8421505.0, 0},
                                           {-8421505.0, 0}};
    for (auto [value, want] : unit) {
        EXPECT_EQ(quantiseToEightBit<VIDEO_DOUBLE>(value), want) << value;
        EXPECT_EQ(quantiseToEightBit<VIDEO_SINGLE>(float(value)), want) << value;
    }
    EXPECT_EQ((std::vector<int>{quantiseToEightBit<VIDEO_INT16>(-32768), quantiseToEightBit<VIDEO_INT16>(0),
                     quantiseToEightBit<VIDEO_INT16>(32512), quantiseToEightBit<VIDEO_INT16>(32767),
                     quantiseToEightBit<VIDEO_UINT16>(1), quantiseToEightBit<VIDEO_UINT16>(128),
                     quantiseToEightBit<VIDEO_UINT16>(129), quantiseToEightBit<VIDEO_UINT16>(65280),
                     quantiseToEightBit<VIDEO_UINT16>(65534), quantiseToEightBit<VIDEO_INT32>(INT32_MIN),
                     quantiseToEightBit<VIDEO_INT32>(INT32_MAX), quantiseToEightBit<VIDEO_INT32>(2130706432),
                     quantiseToEightBit<VIDEO_UINT32>(UINT32_MAX), quantiseToEightBit<VIDEO_UINT32>(4278190080u),
                     quantiseToEightBit<VIDEO_INT8>(-128), quantiseToEightBit<VIDEO_LOGICAL>(2),
                     quantiseToEightBit<VIDEO_LOGICAL>(255), quantiseToEightBit<VIDEO_UINT8>(77)}),
              (std::vector<int>{0, 128, 254, 255, 0, 0, 1, 254, 255, 0, 255, 254, 255, 254, 0, 255, 255, 77}));
}

} // namespace
