#include "video_test_support.h"

#include <korva/video/quantise.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace korvatest;
using korva::video::quantiseToEightBit;

namespace {

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
    const std::pair<double, int> unit[] = {{0.5, 128},     {1.0, 255},       {1.5, 255}, {-0.5, 0},
                                           {nan, 0},       {inf, 0},         {-inf, 0},  {8421504.0, 255},
                                           {8421505.0, 0}, {-8421505.0, 0}};
    for (auto [value, want] : unit) {
        EXPECT_EQ(quantiseToEightBit<VIDEO_DOUBLE>(value), want) << value;
        EXPECT_EQ(quantiseToEightBit<VIDEO_SINGLE>(float(value)), want) << value;
    }
    EXPECT_EQ((std::vector<int>{quantiseToEightBit<VIDEO_INT16>(-32768), quantiseToEightBit<VIDEO_INT16>(0),
                                quantiseToEightBit<VIDEO_INT16>(32512), quantiseToEightBit<VIDEO_INT16>(32767),
                                quantiseToEightBit<VIDEO_UINT16>(128), quantiseToEightBit<VIDEO_UINT16>(129),
                                quantiseToEightBit<VIDEO_UINT16>(65280), quantiseToEightBit<VIDEO_INT32>(INT32_MAX),
                                quantiseToEightBit<VIDEO_INT32>(2130706432), quantiseToEightBit<VIDEO_UINT32>(UINT32_MAX),
                                quantiseToEightBit<VIDEO_UINT32>(4278190080u), quantiseToEightBit<VIDEO_INT8>(-128),
                                quantiseToEightBit<VIDEO_LOGICAL>(2), quantiseToEightBit<VIDEO_UINT8>(77)}),
              (std::vector<int>{0, 128, 254, 255, 0, 1, 254, 255, 254, 255, 254, 0, 255, 77}));
}

} // namespace
