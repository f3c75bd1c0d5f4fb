#ifndef KORVA_AUDIO_SAMPLE_RULES_H
#define KORVA_AUDIO_SAMPLE_RULES_H

// What one sample of a source type becomes in a destination type: one rule for
// each pair of the six kernel types. Every walk applies the same rule to a
// pair, so a sample comes out alike whichever layout it travels in.
//
// The rules are lopsided, and callers depend on them as they are: double
// sources floor while single sources truncate; +1.0 clips one step short of
// full scale while -1.0 reaches it; narrowing from int32 divides while
// narrowing from int24 drops bytes.

#include <cmath>
#include <cstdint>

namespace audio {

// A three-byte sample: little-endian, the sign in the last byte, no filler.
struct Int24 {
    uint8_t bytes[3];
};
static_assert(sizeof(Int24) == 3 && alignof(Int24) == 1, "int24 elements lie three bytes apart");

// int24 travels as a 32-bit word whose low byte is zero, which gives it the
// scale of int32. Writing drops the word's low byte without rounding.
inline int32_t wordOf(Int24 x) {
    return int32_t(uint32_t(x.bytes[0]) << 8 | uint32_t(x.bytes[1]) << 16 | uint32_t(x.bytes[2]) << 24);
}
inline Int24 int24Of(int32_t word) {
    const uint32_t w = uint32_t(word);
    return {{uint8_t(w >> 8), uint8_t(w >> 16), uint8_t(w >> 24)}};
}

// Above hi gives hi, below lo gives lo, and a NaN passes both tests as it is.
// Each test is a select rather than a branch, which keeps the loops around it
// vectorisable.
template <typename F> inline F clip(F v, F lo, F hi) {
    const F below = hi < v ? hi : v;
    return lo > below ? lo : below;
}

// A clipped value converted toward zero. A NaN meets the conversion, whose
// answer on this platform is the word 0x80000000; it is given here by hand,
// since the conversion of a NaN is undefined.
template <typename F> inline int32_t toWord(F clipped) {
    return int32_t(clipped == clipped ? clipped : F(-2147483648.0));
}

// The same for int16 and uint8 destinations, which keep the low bits of that
// word: 0.
template <typename F> inline int32_t toNarrowWord(F clipped) { return int32_t(clipped == clipped ? clipped : F(0)); }

template <typename S, typename D> struct SampleRule; // only the pairs below exist

// From double.
template <> struct SampleRule<double, double> {
    static double convert(double x) { return x; }
};
template <> struct SampleRule<double, float> {
    static float convert(double x) { return float(x); }
};
template <> struct SampleRule<double, int32_t> {
    static int32_t convert(double x) { return toWord(clip(std::floor(2147483648.0 * x), -2147483648.0, 2147483647.0)); }
};
template <> struct SampleRule<double, Int24> {
    static Int24 convert(double x) { return int24Of(SampleRule<double, int32_t>::convert(x)); }
};
template <> struct SampleRule<double, int16_t> {
    static int16_t convert(double x) { return int16_t(toNarrowWord(clip(std::floor(32768.0 * x), -32768.0, 32767.0))); }
};
template <> struct SampleRule<double, uint8_t> {
    static uint8_t convert(double x) { return uint8_t(toNarrowWord(clip(x * 128.0 + 128.0, 0.0, 255.0))); }
};

// From single: all arithmetic in single precision, and truncation, not floor.
template <> struct SampleRule<float, double> {
    static double convert(float x) { return double(x); }
};
template <> struct SampleRule<float, float> {
    static float convert(float x) { return x; }
};
template <> struct SampleRule<float, int32_t> {
    static int32_t convert(float x) {
        const float v = x * 2147483648.0f;
        // The top test is made on v as a double. No single lies between
        // 2147483520, the largest below 2^31, and 2^31, so the clip below only
        // has to keep v convertible.
        const int32_t word = toWord(clip(v, -2147483648.0f, 2147483520.0f));
        return double(v) >= 2147483647.0 ? INT32_MAX : word;
    }
};
template <> struct SampleRule<float, Int24> {
    static Int24 convert(float x) { return int24Of(SampleRule<float, int32_t>::convert(x)); }
};
template <> struct SampleRule<float, int16_t> {
    static int16_t convert(float x) { return int16_t(toNarrowWord(clip(x * 32768.0f, -32768.0f, 32767.0f))); }
};
template <> struct SampleRule<float, uint8_t> {
    static uint8_t convert(float x) { return uint8_t(toNarrowWord(clip(x * 128.0f + 128.0f, 0.0f, 255.0f))); }
};

// From int32. Narrowing divides, truncating toward zero: -1 becomes uint8 128.
template <> struct SampleRule<int32_t, double> {
    static double convert(int32_t x) { return double(x) * 0x1p-31; }
};
template <> struct SampleRule<int32_t, float> {
    static float convert(int32_t x) { return float(x) * 0x1p-31f; } // rounds before it scales: the top gives 1.0f
};
template <> struct SampleRule<int32_t, int32_t> {
    static int32_t convert(int32_t x) { return x; }
};
template <> struct SampleRule<int32_t, Int24> {
    static Int24 convert(int32_t x) { return int24Of(x); }
};
template <> struct SampleRule<int32_t, int16_t> {
    static int16_t convert(int32_t x) { return int16_t(x / 65536); }
};
template <> struct SampleRule<int32_t, uint8_t> {
    static uint8_t convert(int32_t x) { return uint8_t(x / 16777216 + 128); }
};

// From int24, through its word. Narrowing takes the upper bytes as they are:
// bytes FF FF FF become uint8 127. The int24 to int24 pair has no rule of its
// own: its tables hold the int32 to int32 kernel.
template <> struct SampleRule<Int24, double> {
    static double convert(Int24 x) { return SampleRule<int32_t, double>::convert(wordOf(x)); }
};
template <> struct SampleRule<Int24, float> {
    static float convert(Int24 x) { return SampleRule<int32_t, float>::convert(wordOf(x)); }
};
template <> struct SampleRule<Int24, int32_t> {
    static int32_t convert(Int24 x) { return wordOf(x); }
};
template <> struct SampleRule<Int24, int16_t> {
    static int16_t convert(Int24 x) { return int16_t(uint16_t(x.bytes[1] | x.bytes[2] << 8)); }
};
template <> struct SampleRule<Int24, uint8_t> {
    static uint8_t convert(Int24 x) { return uint8_t(x.bytes[2] - 128); }
};

// From int16.
template <> struct SampleRule<int16_t, double> {
    static double convert(int16_t x) { return double(x) * 0x1p-15; }
};
template <> struct SampleRule<int16_t, float> {
    static float convert(int16_t x) { return float(x) * 0x1p-15f; }
};
template <> struct SampleRule<int16_t, int32_t> {
    static int32_t convert(int16_t x) { return int32_t(uint32_t(x) << 16); }
};
template <> struct SampleRule<int16_t, Int24> {
    static Int24 convert(int16_t x) { return int24Of(SampleRule<int16_t, int32_t>::convert(x)); }
};
template <> struct SampleRule<int16_t, int16_t> {
    static int16_t convert(int16_t x) { return x; }
};
template <> struct SampleRule<int16_t, uint8_t> {
    static uint8_t convert(int16_t x) { return uint8_t(x / 256 + 128); }
};

// From uint8, whose zero level is 128: adding 128 in 8 bits flips the sign bit.
template <> struct SampleRule<uint8_t, double> {
    static double convert(uint8_t x) { return (double(x) - 128.0) * 0.0078125; }
};
template <> struct SampleRule<uint8_t, float> {
    static float convert(uint8_t x) { return (float(x) - 128.0f) * 0.0078125f; }
};
template <> struct SampleRule<uint8_t, int32_t> {
    static int32_t convert(uint8_t x) { return int32_t(uint32_t(uint8_t(x + 128)) << 24); }
};
template <> struct SampleRule<uint8_t, Int24> {
    static Int24 convert(uint8_t x) { return int24Of(SampleRule<uint8_t, int32_t>::convert(x)); }
};
template <> struct SampleRule<uint8_t, int16_t> {
    static int16_t convert(uint8_t x) { return int16_t(uint16_t(uint8_t(x + 128) << 8)); }
};
template <> struct SampleRule<uint8_t, uint8_t> {
    static uint8_t convert(uint8_t x) { return x; }
};

// A run of samples through the pair's rule, index for index.
template <typename S, typename D> inline void convertRun(const S* __restrict in, D* __restrict out, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        out[i] = SampleRule<S, D>::convert(in[i]);
    }
}

} // namespace audio

#endif
