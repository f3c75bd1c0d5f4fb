#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <tuple>
#include <vector>

#include <korva/korva.h>

namespace {

// Word sizes and signs by ScaledDoubleFunctionIndex, 1 to 6.
const int BYTES[7] = {0, 1, 2, 4, 1, 2, 4};
const bool SIGNED[7] = {false, false, false, false, true, true, true};

// The word as a number: little-endian, with its sign if it has one.
double wordValue(const uint8_t* p, int index) {
    uint64_t u = 0;
    std::memcpy(&u, p, BYTES[index]);
    const int bits = 8 * BYTES[index];
    return SIGNED[index] && u >> (bits - 1) ? double(int64_t(u) - (int64_t(1) << bits)) : double(u);
}

// "truncate to a 32-bit integer (64-bit for SCALED_UINT32), keep the low bits"; NaN or a value beyond that integer
// gives its most negative value.
uint64_t expectedWord(double x, int index) {
    const double limit = index == SCALED_UINT32 ? 0x1p63 : 0x1p31;
    const int64_t truncated = x >= -limit && x < limit ? int64_t(std::trunc(x)) : int64_t(-limit);
    return uint64_t(truncated) & (~uint64_t(0) >> (64 - 8 * BYTES[index]));
}

} // namespace

// Both directions, apart and in one buffer (the narrow words at the start of the doubles), over every 8- and 16-bit
// word, wrapping and truncating doubles, the limits of both intermediate integers, NaN and infinities. A count of
// 0 touches nothing; SCALED_NONE and 7 select nothing.
TEST(ScaledDoubles, BothDirectionsApartAndInPlaceAndWorkedValues) {
    const double inf = std::numeric_limits<double>::infinity();
    std::vector<double> doubles = {255.9, 256.0, -1.0, 300.0, 32768.0, -0.9, 4294967295.0, 3e9, -2147483648.9, inf,
                                   -2147483649.0, 2147483647.9, 0x1p63, -0x1p63, -0x1p63 - 2048, std::nan(""), -inf};
    for (int i = -70000; i <= 70000; ++i) doubles.push_back(i * 0.75), doubles.push_back(i * 61356.7 + 0.5);
    const int n = int(doubles.size());
    for (int index = 1; index <= 6; ++index) {
        SCOPED_TRACE(index);
        const size_t width = BYTES[index];
        std::vector<uint8_t> words(n * width); // every 8- and 16-bit word, and 32-bit ones of all magnitudes
        for (uint32_t i = 0; i < uint32_t(n); ++i) {
            const uint32_t word = width == 4 ? i * 2654435761u : i;
            std::memcpy(&words[i * width], &word, width);
        }
        const MMFixToDoubleFcn toDouble = MM_GetFixToDoubleFcn(ScaledDoubleFunctionIndex(index));
        const MMDoubleToFixFcn toWord = MM_GetDoubleToFixFcn(ScaledDoubleFunctionIndex(index));
        std::vector<double> apart(n, 7.0), inPlace(n);
        std::memcpy(inPlace.data(), words.data(), words.size());
        toDouble(apart.data(), words.data(), 0);
        ASSERT_EQ(apart[0], 7.0);
        toDouble(apart.data(), words.data(), n);
        toDouble(inPlace.data(), inPlace.data(), n);
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(apart[i], wordValue(&words[i * width], index)) << "word " << i;
            ASSERT_EQ(inPlace[i], apart[i]) << "word " << i << " in place";
        }
        std::vector<uint8_t> narrowed(n * width + 1, 0xA5);
        inPlace = doubles;
        toWord(doubles.data(), narrowed.data(), 0);
        ASSERT_EQ(narrowed[0], 0xA5);
        toWord(doubles.data(), narrowed.data(), n);
        toWord(inPlace.data(), inPlace.data(), n);
        EXPECT_EQ(narrowed.back(), 0xA5);
        EXPECT_EQ(0, std::memcmp(inPlace.data(), narrowed.data(), n * width)) << "in place";
        for (int i = 0; i < n; ++i) {
            uint64_t got = 0;
            std::memcpy(&got, &narrowed[i * width], width);
            ASSERT_EQ(got, expectedWord(doubles[i], index)) << doubles[i];
        }
    }
    for (int index : {0, 7}) {
        EXPECT_EQ(MM_GetFixToDoubleFcn(ScaledDoubleFunctionIndex(index)), nullptr);
        EXPECT_EQ(MM_GetDoubleToFixFcn(ScaledDoubleFunctionIndex(index)), nullptr);
    }
    // Worked values: wrapping, truncation toward zero, and the out-of-range answer of SCALED_INT32.
    const std::tuple<ScaledDoubleFunctionIndex, double, uint64_t> worked[] = {
        {SCALED_UINT8, 255.9, 255},      {SCALED_UINT8, 256.0, 0},       {SCALED_UINT8, -1.0, 255},
        {SCALED_UINT8, 300.0, 44},       {SCALED_INT16, 32768.0, 0x8000}, {SCALED_INT16, -0.9, 0},
        {SCALED_UINT32, 4294967295.0, 0xFFFFFFFF}, {SCALED_UINT32, -1.0, 0xFFFFFFFF}, {SCALED_INT32, 3e9, 0x80000000}};
    for (auto [index, in, expected] : worked) {
        uint64_t word = 0;
        MM_GetDoubleToFixFcn(index)(&in, &word, 1);
        EXPECT_EQ(word, expected) << index << ", " << in;
    }
}
