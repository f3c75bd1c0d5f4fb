#ifndef KORVA_VIDEO_QUANTISE_RUNS_H
#define KORVA_VIDEO_QUANTISE_RUNS_H

// quantiseToEightBit over a run of elements, sixteen at a time in vector
// registers, giving the bytes of the element-by-element rule for every input.
// Written with the compiler's vector extensions, so that each build of a
// kernel (baseline or wider units) gets the instructions its unit has.
// Private to the video units.

#include <korva/video/quantise.h>

#include <cstdint>
#include <cstring>

namespace korva::video {

typedef float Floats4 __attribute__((vector_size(16)));
typedef float Floats8 __attribute__((vector_size(32)));
typedef int32_t Ints8 __attribute__((vector_size(32)));
typedef uint8_t Bytes16Run __attribute__((vector_size(16)));
typedef uint8_t Bytes32Run __attribute__((vector_size(32)));

// The largest single below a half. t + 0.5 in double never reaches 1 for it,
// but the same sum in single precision rounds up to 1, and it is the one value
// of 0 to 255 where the two sums truncate apart (above a half the sum in
// single is exact, or rounds within one whole number).
constexpr float JUST_BELOW_HALF = 0.49999997f;

// Eight values of t (the element scaled to 0..255 in single precision) to
// integers 0 to 255, as truncateAndClampToEightBit(double(t) + 0.5) gives
// them: NaN, negative values and anything of 2^31 or more (which the
// truncation there takes to -2^31) become 0, and the rest is rounded half up
// and saturated at 255. Rounding happens in single precision once t is at most
// 255, which is exact there but for JUST_BELOW_HALF. By reference: a 32-byte
// vector in a signature would depend on the build.
inline void roundAndClamp(const Floats8& t, Ints8& to) {
    const Floats8 zero = {}, top = zero + 255.0f;
    const Ints8 kept = (t >= 0.0f) & (t < 2147483648.0f) & (t != JUST_BELOW_HALF);
    const Floats8 capped = t < top ? t : top;
    to = __builtin_convertvector((kept ? capped : zero) + 0.5f, Ints8);
}

// Eight elements in single precision, as singlePrecisionOf gives them. Each
// vector is loaded at the width of its elements and widened in registers.
template <int N> void singlesOf(const Element<N>* from, Floats8& to) {
    if constexpr (N == VIDEO_DOUBLE) {
        typedef double Doubles4 __attribute__((vector_size(32)));
        Doubles4 low, high;
        std::memcpy(&low, from, sizeof low);
        std::memcpy(&high, from + 4, sizeof high);
        to = __builtin_shufflevector(__builtin_convertvector(low, Floats4), __builtin_convertvector(high, Floats4), 0,
                                     1, 2, 3, 4, 5, 6, 7);
    } else if constexpr (N == VIDEO_SINGLE) {
        std::memcpy(&to, from, sizeof to);
    } else if constexpr (N == VIDEO_UINT32) {
        // Each half of the word is exact in single, and so is the high half
        // times 2^16: the one rounding is that of the sum, as in a conversion
        // of the whole word.
        typedef uint32_t Words8 __attribute__((vector_size(32)));
        Words8 words;
        std::memcpy(&words, from, sizeof words);
        to = __builtin_convertvector(words >> 16, Floats8) * 65536.0f + __builtin_convertvector(words & 0xFFFF, Floats8);
    } else {
        typedef Element<N> Narrow8 __attribute__((vector_size(8 * sizeof(Element<N>))));
        Narrow8 narrow;
        std::memcpy(&narrow, from, sizeof narrow);
        to = __builtin_convertvector(__builtin_convertvector(narrow, Ints8), Floats8);
    }
}

// Sixteen elements to sixteen bytes.
template <int N> void quantiseSixteen(const Element<N>* from, uint8_t* to) {
    if constexpr (N == VIDEO_INT8 || N == VIDEO_LOGICAL) {
        // (b + 128) / 255 * 255 in single lands within a few units of the last
        // place of the whole number b + 128, far from any rounding edge; a
        // logical byte scaled by 255 is 0 or at least 255. So both are byte
        // operations.
        Bytes16Run bytes;
        std::memcpy(&bytes, from, sizeof bytes);
        const Bytes16Run out = N == VIDEO_INT8 ? bytes ^ 0x80 : Bytes16Run(bytes != 0);
        std::memcpy(to, &out, sizeof out);
    } else {
        constexpr bool unitRange = N == VIDEO_DOUBLE || N == VIDEO_SINGLE;
        constexpr float lo = unitRange ? 0.0f : static_cast<float>(std::numeric_limits<Element<N>>::min());
        constexpr float hi = unitRange ? 1.0f : static_cast<float>(std::numeric_limits<Element<N>>::max());
        constexpr float span = hi - lo;
        Ints8 rounded[2];
        for (int k = 0; k < 2; ++k) {
            Floats8 x;
            singlesOf<N>(from + 8 * k, x);
            // 65535 is 255 x 257, so a 16-bit element's t lies at least
            // 1/514 from every rounding edge, where the last place of a
            // product by the reciprocal cannot reach; a span of 2^32 divides
            // exactly as it multiplies.
            constexpr bool sixteenBits = N == VIDEO_INT16 || N == VIDEO_UINT16;
            const Floats8 t = sixteenBits ? (x - lo) * (1.0f / span) * 255.0f : (x - lo) / span * 255.0f;
            if constexpr (unitRange) {
                roundAndClamp(t, rounded[k]);
            } else {
                // An integer's t lies in 0 to 255, so a sum in single rounds
                // it but for JUST_BELOW_HALF, which some 32-bit elements give
                // (a comparison's true is -1).
                rounded[k] = __builtin_convertvector(t + 0.5f, Ints8) + (t == JUST_BELOW_HALF);
            }
        }
        // The low byte of each 32-bit lane.
        Bytes32Run low, high;
        std::memcpy(&low, &rounded[0], sizeof low);
        std::memcpy(&high, &rounded[1], sizeof high);
        const Bytes16Run out =
            __builtin_shufflevector(low, high, 0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 44, 48, 52, 56, 60);
        std::memcpy(to, &out, sizeof out);
    }
}

// How far ahead of the elements in use a run asks for its input. The walks
// over planes read each plane in short runs, which the processor's own
// prefetching does not follow far enough to keep the memory busy; a prefetch
// never faults, so it may reach past the plane's end.
constexpr std::size_t PREFETCH_BYTES = 2048;

// count elements from `from` to bytes at `to`, in address order.
template <int N> void quantiseRun(const Element<N>* __restrict from, uint8_t* __restrict to, int count) {
    int i = 0;
    if constexpr (N != VIDEO_UINT8) {
        for (; i + 16 <= count; i += 16) {
            const char* ahead = reinterpret_cast<const char*>(from + i) + PREFETCH_BYTES;
            for (std::size_t line = 0; line < 16 * sizeof(Element<N>); line += 64) {
                __builtin_prefetch(ahead + line);
            }
            quantiseSixteen<N>(from + i, to + i);
        }
    }
    for (; i < count; ++i) {
        to[i] = quantiseToEightBit<N>(from[i]);
    }
}

} // namespace korva::video

#endif
