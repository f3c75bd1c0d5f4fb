#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include <korva/korva.h>

// The value rules: every audio sample rule through the convert copy kernels (which the walks in kernels_test.cpp
// build on), and the scaled double words, each against a reference written from the rule's own words.
namespace {
using Bytes = std::vector<uint8_t>;
using Int24 = std::array<uint8_t, 3>;
using Row = std::array<Bytes, 6>; // what one sample becomes at each destination position
const AudioDataType TYPES[6] = {AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_INT32, AUDIO_INT24, AUDIO_INT16, AUDIO_UINT8};

template <typename T> Bytes raw(const T& x) { return Bytes((const uint8_t*)&x, (const uint8_t*)&x + sizeof x); }
Bytes le(int64_t v, int bytes) { Bytes out; while (bytes--) out.push_back(uint8_t(v)), v >>= 8; return out; }
// "above hi gives hi; below lo gives lo; otherwise v as integer (toward zero)". NaN meets the conversion: 0x80000000.
int64_t clip(double v, double lo, double hi) {
    if (v > hi) return int64_t(hi);
    if (v < lo) return int64_t(lo);
    return std::isnan(v) ? INT32_MIN : int64_t(std::trunc(v));
}
// int24 results are "the word of the int32 rule, written as three bytes": bytes 1 to 3.
Row fromDouble(double x) {
    const int64_t word = clip(std::floor(2147483648.0 * x), -2147483648.0, 2147483647.0);
    return {raw(x), raw(float(x)), le(word, 4), le(word >> 8, 3),
            le(clip(std::floor(32768.0 * x), -32768.0, 32767.0), 2), le(clip(x * 128.0 + 128.0, 0.0, 255.0), 1)};
}
Row fromSingle(float x) {
    const float v = x * 2147483648.0f;
    const int64_t word = double(v) >= 2147483647.0 ? INT32_MAX : clip(v, -2147483648.0, 2147483647.0);
    return {raw(double(x)), raw(x), le(word, 4), le(word >> 8, 3), le(clip(x * 32768.0f, -32768.0, 32767.0), 2),
            le(clip(x * 128.0f + 128.0f, 0.0, 255.0), 1)};
}
Row fromInt32(int32_t x) {
    return {raw(x * 0x1p-31), raw(float(x) * 0x1p-31f), le(x, 4), le(x >> 8, 3), le(x / 65536, 2),
            le(x / 16777216 + 128, 1)};
}
Row fromInt24(Int24 b) { // its word w: byte 0 zero, bytes 1 to 3 the sample
    const int32_t w = int32_t(uint32_t(b[0]) << 8 | uint32_t(b[1]) << 16 | uint32_t(b[2]) << 24);
    return {raw(w * 0x1p-31), raw(float(w) * 0x1p-31f), le(w, 4), Bytes{}, Bytes{b[1], b[2]}, le(b[2] - 128, 1)};
}
Row fromInt16(int16_t x) {
    return {raw(x * 0x1p-15), raw(float(x) * 0x1p-15f), le(x * 65536, 4), Bytes{0, uint8_t(x), uint8_t(x >> 8)},
            le(x, 2), le(x / 256 + 128, 1)};
}
Row fromUint8(uint8_t x) {
    const uint8_t flipped = uint8_t(x + 128);
    return {raw((x - 128.0) * 0.0078125), raw((float(x) - 128.0f) * 0.0078125f), le(int64_t(flipped) << 24, 4),
            Bytes{0, 0, flipped}, le(flipped << 8, 2), Bytes{x}};
}
// Every destination of source position `from` over all `inputs`; the int24 pair is the int32 copy (kernels_test).
template <typename T> void expectRules(int from, const std::vector<T>& inputs, Row (*reference)(T)) {
    Row expected;
    for (const T& x : inputs) {
        const Row row = reference(x);
        for (int to = 0; to < 6; ++to) expected[to].insert(expected[to].end(), row[to].begin(), row[to].end());
    }
    for (int to = 0; to < 6; ++to) {
        if (from == 3 && to == 3) continue;
        Bytes out(expected[to].size(), 0xA5);
        MM_GetAudioConvertCopyFcn(TYPES[from], TYPES[to])(inputs.data(), out.data(), int(inputs.size()), 1);
        const size_t n = inputs.size(), w = out.size() / n;
        const size_t i = (std::mismatch(out.begin(), out.end(), expected[to].begin()).first - out.begin()) / w;
        EXPECT_EQ(i, n) << "entry " << from * 6 + to << ", input " << testing::PrintToString(raw(inputs[i % n]));
    }
}

const int BYTES[7] = {0, 1, 2, 4, 1, 2, 4}; // word sizes by ScaledDoubleFunctionIndex; signed from SCALED_INT8 on

// "truncate to a 32-bit integer (64-bit for SCALED_UINT32), keep the low bits"; NaN or a value beyond that integer
// gives its most negative value.
uint64_t expectedWord(double x, int index) {
    const double limit = index == SCALED_UINT32 ? 0x1p63 : 0x1p31;
    const int64_t truncated = x >= -limit && x < limit ? int64_t(std::trunc(x)) : int64_t(-limit);
    return uint64_t(truncated) & (~uint64_t(0) >> (64 - 8 * BYTES[index]));
}
} // namespace

// Doubles: every clip edge with a tiny step either side, int16 levels and midpoints, fine fractions. Singles: those,
// a step toward zero, their own edges. All uint8, int16, int24 (upper bytes) inputs; int32 where division meets sign.
TEST(AudioSampleRules, EveryRuleMatchesItsWords) {
    const double inf = HUGE_VAL, nan = NAN;
    std::vector<double> d = {0.0, -0.0, -1e-10, -1e-300, -4.9e-324, 0.999999, -0.999999, nan, -nan, inf, -inf, 1e300};
    for (double edge : {1.0, 1.5, 0.5, 32767.0 / 32768, 0x7FFFFFFFp-31, 0x7FFFFF80p-31, 127.0 / 128, 255.0 / 128 - 1})
        for (double step : {-1e-7, -0x1p-40, 0.0, 0x1p-40, 1e-7}) d.push_back(edge + step), d.push_back(-edge + step);
    for (int i = -33000; i <= 33000; ++i) d.push_back(i / 32768.0), d.push_back((i + 0.5) / 32768.0);
    for (uint64_t i = 0, state = 1; i < 20000; ++i) { // [-1.2, 1.2) with all 52 bits of fraction
        state = state * 6364136223846793005u + 1442695040888963407u;
        d.push_back(double(int64_t(state) >> 11) * 0x1p-52 * 1.2);
    }
    std::vector<float> f;
    for (double x : d) f.push_back(float(x)), f.push_back(std::nextafter(float(x), 0.0f));
    for (float edge : {2147483648.0f, 2147483520.0f, 32767.0f, 32768.0f, 255.0f, 127.0f})
        for (float e : {edge, -edge}) f.insert(f.end(), {e / 2147483648.0f, e / 32768.0f, e / 128 - 1});
    std::vector<int32_t> i32 = {INT32_MIN, INT32_MAX, -1, 0x12345678};
    for (int32_t high = -32768; high < 32768; ++high)
        for (int32_t low : {0, 1, 0x7FFF, 0x8000, 0xFFFF}) i32.push_back(int32_t(uint32_t(high) << 16 | uint32_t(low)));
    std::vector<Int24> i24;
    for (int b = 0; b < 65536; ++b)
        for (int b0 : {0x00, 0x01, 0x80, 0xFF}) i24.push_back({uint8_t(b0), uint8_t(b), uint8_t(b >> 8)});
    std::vector<int16_t> i16(65536);
    std::vector<uint8_t> u8(256);
    for (int x = 0; x < 65536; ++x) i16[x] = int16_t(x), u8[x % 256] = uint8_t(x);
    expectRules(0, d, fromDouble), expectRules(1, f, fromSingle), expectRules(2, i32, fromInt32);
    expectRules(3, i24, fromInt24), expectRules(4, i16, fromInt16), expectRules(5, u8, fromUint8);
}

// Worked values by table entry, pinning the references to the lopsided behaviour that is wanted.
TEST(AudioSampleRules, WorkedValues) {
    const struct { int entry; Bytes in, out; } cases[] = {
        {2, raw(1.0), le(INT32_MAX, 4)}, {3, raw(1.0), {255, 255, 127}}, {3, raw(-1.0), {0, 0, 128}},
        {4, raw(-1e-10), le(-1, 2)}, {10, raw(-1e-10f), le(0, 2)}, {5, raw(0.0), {128}}, {5, raw(-1.5), {0}},
        {4, raw(-0.999999), le(-32768, 2)}, {10, raw(-0.999999f), le(-32767, 2)}, {30, {128}, raw(0.0)},
        {2, raw(std::nan("")), le(INT32_MIN, 4)}, {4, raw(std::nan("")), {0, 0}}, {9, raw(std::nanf("")), {0, 0, 128}},
        {24, le(32767, 2), raw(0.999969482421875)}, {30, {255}, raw(0.9921875)}, {13, le(INT32_MAX, 4), raw(1.0f)},
        {12, le(INT32_MAX, 4), raw(0.9999999995343387)}, {29, le(-1, 2), {128}}, {29, le(-256, 2), {127}},
        {17, le(-1, 4), {128}}, {23, {255, 255, 255}, {127}}, {33, {0}, {0, 0, 128}}, {34, {255}, le(32512, 2)},
        {15, le(0x12345678, 4), {0x56, 0x34, 0x12}}, {16, le(0x12345678, 4), le(4660, 2)},
        {20, {0x56, 0x34, 0x92}, le(-1842063872, 4)}, {22, {0x56, 0x34, 0x92}, le(-28108, 2)}};
    for (const auto& c : cases) {
        Bytes out(c.out.size()); // exactly the sample's size, for the address checks
        MM_GetAudioConvertCopyFcn(TYPES[c.entry / 6], TYPES[c.entry % 6])(c.in.data(), out.data(), 1, 1);
        EXPECT_EQ(out, c.out) << "entry " << c.entry << ": " << testing::PrintToString(c.in);
    }
}

// Doubles narrowed to words and widened back, apart and in one buffer (the narrow words at the start of the doubles):
// every 8- and 16-bit word, wrapping, 32-bit words of all magnitudes, both limits of the intermediate integers, NaN
// and infinities. Worked values pin the reference. A count of 0 touches nothing; SCALED_NONE and 7 select nothing.
TEST(ScaledDoubles, BothDirectionsApartAndInPlace) {
    const struct { ScaledDoubleFunctionIndex index; double in; uint64_t word; } worked[] = {
        {SCALED_UINT8, 255.9, 255}, {SCALED_UINT8, 256.0, 0}, {SCALED_UINT8, -1.0, 255}, {SCALED_UINT8, 300.0, 44},
        {SCALED_INT16, 32768.0, 0x8000}, {SCALED_INT16, -0.9, 0}, {SCALED_UINT32, 4294967295.0, 0xFFFFFFFF},
        {SCALED_UINT32, -1.0, 0xFFFFFFFF}, {SCALED_INT32, 3e9, 0x80000000}};
    std::vector<double> doubles = {-2147483648.9, -2147483649.0, 2147483647.9, 0x1p63, -0x1p63, -0x1p63 - 2048,
                                   std::nan(""), HUGE_VAL, -HUGE_VAL};
    for (auto [index, in, word] : worked) {
        EXPECT_EQ(expectedWord(in, index), word) << index << ", " << in;
        doubles.push_back(in);
    }
    for (int i = -70000; i <= 70000; ++i) doubles.push_back(i * 0.75), doubles.push_back(i * 61356.7 + 0.5);
    const int n = int(doubles.size());
    for (int index = 1; index <= 6; ++index) {
        SCOPED_TRACE(index);
        const int width = BYTES[index], unused = 64 - 8 * width;
        const auto toWord = MM_GetDoubleToFixFcn(ScaledDoubleFunctionIndex(index));
        const auto toDouble = MM_GetFixToDoubleFcn(ScaledDoubleFunctionIndex(index));
        std::vector<uint8_t> words(n * width, 0xA5); // exact sizes, for the address checks
        std::vector<double> inPlace = doubles, apart(n, 7.0);
        toWord(doubles.data(), words.data(), 0), toDouble(apart.data(), words.data(), 0);
        ASSERT_TRUE(words[0] == 0xA5 && apart[0] == 7.0) << "count 0";
        toWord(doubles.data(), words.data(), n), toWord(inPlace.data(), inPlace.data(), n);
        ASSERT_EQ(0, std::memcmp(inPlace.data(), words.data(), n * width)) << "narrowed in place";
        toDouble(apart.data(), words.data(), n), toDouble(inPlace.data(), inPlace.data(), n);
        for (int i = 0; i < n; ++i) {
            uint64_t word = 0;
            std::memcpy(&word, &words[i * width], width);
            ASSERT_EQ(word, expectedWord(doubles[i], index)) << doubles[i];
            ASSERT_EQ(apart[i], index >= SCALED_INT8 ? double(int64_t(word << unused) >> unused) : double(word));
            ASSERT_EQ(inPlace[i], apart[i]) << word << " widened in place";
        }
    }
    for (auto index : {SCALED_NONE, ScaledDoubleFunctionIndex(7)})
        EXPECT_TRUE(!MM_GetFixToDoubleFcn(index) && !MM_GetDoubleToFixFcn(index)) << index;
}
