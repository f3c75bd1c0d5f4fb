#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include <korva/korva.h>

// Every sample rule against a reference written from the rule's own words, through the convert copy kernels (the
// walks are checked against those kernels in walks_test.cpp). All uint8 and int16 inputs, the int24 and int32
// patterns where division, byte dropping and sign meet, and doubles and singles at and around every clip edge.

namespace {

using ::testing::PrintToString;
using Bytes = std::vector<uint8_t>;
using Int24 = std::array<uint8_t, 3>;
using Row = std::array<Bytes, 6>; // what one sample becomes at each destination position
const AudioDataType TYPES[6] = {AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_INT32, AUDIO_INT24, AUDIO_INT16, AUDIO_UINT8};

template <typename T> Bytes raw(const T& x) {
    const auto* p = reinterpret_cast<const uint8_t*>(&x);
    return Bytes(p, p + sizeof x);
}
Bytes le(int64_t v, int bytes) {
    Bytes out;
    for (int b = 0; b < bytes; ++b) out.push_back(uint8_t(v >> 8 * b));
    return out;
}

// "above hi gives hi; below lo gives lo; otherwise v as integer (toward zero)". A NaN fails both tests and meets
// the conversion, which answers 0x80000000; narrower results keep its low bits.
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

// Every destination of source position `from` over all `inputs`; the int24 pair is the int32 copy (selectors_test).
template <typename T> void expectRules(int from, const std::vector<T>& inputs, Row (*reference)(T)) {
    Bytes in;
    Row expected;
    for (const T& x : inputs) {
        const Row row = reference(x);
        const Bytes bytes = raw(x);
        in.insert(in.end(), bytes.begin(), bytes.end());
        for (int to = 0; to < 6; ++to) expected[to].insert(expected[to].end(), row[to].begin(), row[to].end());
    }
    for (int to = 0; to < 6; ++to) {
        if (from == 3 && to == 3) continue;
        Bytes out(expected[to].size(), 0xA5);
        MM_GetAudioConvertCopyFcn(TYPES[from], TYPES[to])(in.data(), out.data(), int(inputs.size()), 1);
        const size_t width = out.size() / inputs.size();
        const size_t i = (std::mismatch(out.begin(), out.end(), expected[to].begin()).first - out.begin()) / width;
        if (i < inputs.size())
            ADD_FAILURE() << "entry " << from * 6 + to << ": " << PrintToString(raw(inputs[i])) << " gives "
                          << PrintToString(Bytes(&out[i * width], &out[i * width] + width)) << ", expected "
                          << PrintToString(reference(inputs[i])[to]);
    }
}

} // namespace

// Doubles: every clip edge of every rule with a tiny step either side, the levels of int16 and their midpoints, and
// a spread of fine fractions. Singles: those, one step toward zero, and their own edges.
TEST(AudioSampleRules, EveryRuleMatchesItsWords) {
    const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
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

// Worked values that pin the references above to the intended behaviour: floor against truncation, the lopsided
// full scale, division against byte dropping, clipping and NaN.
TEST(AudioSampleRules, WorkedValues) {
    const AudioDataType D = AUDIO_DOUBLE, S = AUDIO_SINGLE, I32 = AUDIO_INT32, I24 = AUDIO_INT24, I16 = AUDIO_INT16,
                        U8 = AUDIO_UINT8;
    const double nan = std::nan("");
    const struct { AudioDataType from, to; Bytes in, out; } cases[] = {
        {D, I32, raw(1.0), le(INT32_MAX, 4)}, {D, I24, raw(1.0), {255, 255, 127}}, {D, I24, raw(-1.0), {0, 0, 128}},
        {D, I16, raw(1.0), le(32767, 2)},      {D, I16, raw(-1.5), le(-32768, 2)},  {D, U8, raw(1.5), {255}},
        {D, I16, raw(-1e-10), le(-1, 2)},      {S, I16, raw(-1e-10f), le(0, 2)},    {D, U8, raw(0.0), {128}},
        {D, I16, raw(-0.999999), le(-32768, 2)}, {S, I16, raw(-0.999999f), le(-32767, 2)}, {U8, D, {128}, raw(0.0)},
        {D, I32, raw(nan), le(INT32_MIN, 4)},  {D, I16, raw(nan), {0, 0}},          {S, U8, raw(float(nan)), {0}},
        {S, I24, raw(float(nan)), {0, 0, 128}}, {I16, D, le(32767, 2), raw(0.999969482421875)},
        {U8, D, {255}, raw(0.9921875)},        {I32, S, le(INT32_MAX, 4), raw(1.0f)},
        {I32, D, le(INT32_MAX, 4), raw(0.9999999995343387)}, {I16, U8, le(-1, 2), {128}}, {I16, U8, le(-256, 2), {127}},
        {I32, U8, le(-1, 4), {128}},           {I24, U8, {255, 255, 255}, {127}},   {U8, I24, {0}, {0, 0, 128}},
        {I32, I24, le(0x12345678, 4), {0x56, 0x34, 0x12}}, {I32, I16, le(0x12345678, 4), le(4660, 2)},
        {I24, I32, {0x56, 0x34, 0x92}, le(-1842063872, 4)}, {I24, I16, {0x56, 0x34, 0x92}, le(-28108, 2)},
        {U8, I16, {0}, le(-32768, 2)},         {U8, I16, {255}, le(32512, 2)}};
    for (const auto& c : cases) {
        Bytes out(c.out.size() + 1, 0xA5), expected = c.out;
        expected.push_back(0xA5);
        MM_GetAudioConvertCopyFcn(c.from, c.to)(c.in.data(), out.data(), 1, 1);
        EXPECT_EQ(out, expected) << c.from << " to " << c.to << ": " << PrintToString(c.in);
    }
}
