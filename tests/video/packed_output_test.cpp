#include "video_test_support.h"

#include <korva/video/quantise.h>

#include <gtest/gtest.h>

using namespace korvatest;
using korva::video::quantiseToEightBit;

namespace {

// Every RGB24 copy member, element i to out[i], out[n + i] and out[2n + i]; the intensity one takes plane0 for all
// three colours and gets null for the others. What lies past the copy keeps its random bytes.
TEST(RGB24Copy, EveryMemberMatchesThePlainWalk) {
    forEachVideoType([&](auto type) {
        constexpr int N = decltype(type)::value;
        const MMVideoConvertCopyFcn copy = MM_GetRGBToRGB24ChannelsConvertCopyFcn(VideoDataType(N));
        const MMVideoConvertCopyFcn greyCopy = MM_GetIntensityToRGB24ChannelsConvertCopyFcn(VideoDataType(N));
        for (auto [w, h] : sizesWith({{250, 200}})) {
            const std::size_t n = std::size_t(w) * h;
            std::vector<Elem<N>> p[3];
            for (int c = 0; c < 3; ++c) p[c] = randomElements<N>(n, uint32_t(h * 100 + w * 3 + c));
            std::vector<uint8_t> got = randomBytes(3 * n + 8, w + h), want(got), gotGrey(got), wantGrey(got);
            for (std::size_t i = 0; i < n; ++i)
                for (int c = 0; c < 3; ++c) {
                    want[c * n + i] = quantiseToEightBit<N>(p[c][i]);
                    wantGrey[c * n + i] = quantiseToEightBit<N>(p[0][i]);
                }
            copy(p[0].data(), p[1].data(), p[2].data(), got.data(), w, h);
            greyCopy(p[0].data(), nullptr, nullptr, gotGrey.data(), w, h);
            EXPECT_EQ(got, want) << "RGB24 copy, " << N << ", " << w << "x" << h;
            EXPECT_EQ(gotGrey, wantGrey) << "intensity RGB24 copy, " << N << ", " << w << "x" << h;
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
