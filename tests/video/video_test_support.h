#ifndef KORVA_TESTS_VIDEO_SUPPORT_H
#define KORVA_TESTS_VIDEO_SUPPORT_H

// Shared by the video kernel tests: a loop over the nine element types, random
// frames and plane elements, and planes held so that any member can be compared.

#include <korva/korva.h>
#include <korva/video/quantise.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace korvatest {

template <int N> using Elem = typename videoTraits<N>::Element;

// Calls body(std::integral_constant<int, N>{}) for N = 0 to 8.
template <class Body, int... N> void forEachTypeOf(Body&& body, std::integer_sequence<int, N...>) {
    (body(std::integral_constant<int, N>{}), ...);
}
template <class Body> void forEachVideoType(Body&& body) { forEachTypeOf(body, std::make_integer_sequence<int, 9>{}); }

inline std::vector<uint8_t> randomBytes(std::size_t n, uint32_t seed) {
    std::mt19937 gen(seed);
    std::vector<uint8_t> bytes(n);
    for (auto& b : bytes) b = static_cast<uint8_t>(gen());
    return bytes;
}

// Elements at the edges of the reduction to eight bits, found against the
// element-by-element rule: for each step of the result, the first element
// that reaches it and its neighbours; for floating types also NaN, the
// infinities, both zeros, the smallest values, the cliff above which a huge
// value gives 0, and for double the values that round to either side of a
// single-precision edge; for the integer types every value up to 16 bits and
// the ends of the 32-bit ones.
template <int N> std::vector<Elem<N>> edgeElements() {
    using T = Elem<N>;
    using korva::video::quantiseToEightBit;
    std::vector<T> edges;
    if constexpr (std::is_floating_point<T>::value) {
        // Non-negative floats order as their bits do; the rule rises with
        // them up to the cliff.
        const auto fromBits = [](uint32_t bits) { float f; std::memcpy(&f, &bits, 4); return f; };
        const auto firstReaching = [&](auto reaches, uint32_t lo, uint32_t hi) { // reaches(hi) and !reaches(lo)
            while (hi - lo > 1) {
                const uint32_t mid = lo + (hi - lo) / 2;
                (reaches(fromBits(mid)) ? hi : lo) = mid;
            }
            return hi;
        };
        const uint32_t one = 0x3f800000u, huge = 0x7f000000u;
        std::vector<uint32_t> steps;
        for (int k = 1; k < 256; ++k)
            steps.push_back(firstReaching([&](float f) { return quantiseToEightBit<VIDEO_SINGLE>(f) >= k; }, 0, one));
        steps.push_back(firstReaching([&](float f) { return quantiseToEightBit<VIDEO_SINGLE>(f) == 0; }, one, huge));
        steps.push_back(firstReaching([&](float f) { return f * 255.0f >= 0.49999997f; }, 0, one));
        for (uint32_t s : steps)
            for (uint32_t b = s - 3; b <= s + 3; ++b) {
                const float f = fromBits(b);
                edges.push_back(T(f));
                edges.push_back(T(-f));
                if constexpr (sizeof(T) == 8) {
                    // Halfway to the next single and one double either side.
                    const double half = (double(f) + double(fromBits(b + 1))) / 2;
                    for (double d : {half, std::nextafter(half, 0.0), std::nextafter(half, 2.0)}) edges.push_back(d);
                }
            }
        const T special[] = {std::numeric_limits<T>::quiet_NaN(), -std::numeric_limits<T>::quiet_NaN(),
                             std::numeric_limits<T>::infinity(), -std::numeric_limits<T>::infinity(), T(0), T(-0.0),
                             std::numeric_limits<T>::denorm_min(), std::numeric_limits<T>::min(),
                             std::numeric_limits<T>::max(), std::numeric_limits<T>::lowest(), T(0.5), T(1), T(1.5),
                             T(-0.5), T(1e30), T(-1e30)};
        edges.insert(edges.end(), std::begin(special), std::end(special));
    } else if constexpr (sizeof(T) <= 2) {
        for (uint32_t b = 0; b < (1u << (8 * sizeof(T))); ++b) edges.push_back(T(b));
    } else {
        // The rule rises with the value.
        for (int k = 1; k < 256; ++k) {
            int64_t lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
            while (hi - lo > 1) {
                const int64_t mid = lo + (hi - lo) / 2;
                (quantiseToEightBit<N>(T(mid)) >= k ? hi : lo) = mid;
            }
            for (int64_t v = hi - 3; v <= hi + 3; ++v) edges.push_back(T(v));
        }
        for (int64_t v : {int64_t(std::numeric_limits<T>::min()), int64_t(std::numeric_limits<T>::max())})
            for (int d = -3; d <= 3; ++d) edges.push_back(T(v + d)); // wraps round at the ends
        for (int64_t v = -300; v <= 300; ++v) edges.push_back(T(v));
    }
    return edges;
}

// Plane elements for the kernels that leave the planes: a quarter of them
// edges of the reduction (edgeElements); of the rest floating elements a
// little beyond 0 to 1 and the odd NaN, infinity or huge value; logical ones
// mostly 0 and 1; integer ones any bits.
template <int N> std::vector<Elem<N>> randomElements(std::size_t n, uint32_t seed) {
    using T = Elem<N>;
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> unit(-0.25, 1.25);
    const double special[] = {std::nan(""), std::numeric_limits<double>::infinity(), -1e30, 1e30, 0.5, 1.0};
    static const std::vector<T> edges = edgeElements<N>();
    std::vector<T> v(n);
    for (auto& e : v) {
        const uint32_t r = gen();
        if (r % 4 == 0) e = edges[(r >> 2) % edges.size()];
        else if constexpr (std::is_floating_point<T>::value) e = T(r % 16 == 0 ? special[(r >> 4) % 6] : unit(gen));
        else if constexpr (N == VIDEO_LOGICAL) e = T(r % 8 == 0 ? r >> 8 : r % 2);
        else std::memcpy(&e, &r, sizeof e);
    }
    return v;
}

// Odd and even sizes below and above the kernels' bands and blocks, two empty pictures (which must write nothing),
// then the caller's own.
inline std::vector<std::pair<int, int>> sizesWith(std::vector<std::pair<int, int>> extra = {}) {
    extra.insert(extra.begin(), {{1, 1}, {1, 2}, {2, 1}, {3, 2}, {4, 3}, {5, 7}, {16, 9}, {33, 70}, {67, 130}, {0, 3},
                                 {3, 0}});
    return extra;
}

inline std::string sizeName(int n, int w, int h, int flag) {
    return "type " + std::to_string(n) + ", " + std::to_string(w) + "x" + std::to_string(h) + ", flag " +
           std::to_string(flag);
}

// Three planes of n elements of type N, filled with a marker so that an
// element a kernel should have written and did not shows.
template <int N> using Planes = std::array<std::vector<Elem<N>>, 3>;
template <int N> Planes<N> markedPlanes(std::size_t n, Elem<N> marker = Elem<N>(0x5a)) {
    return {std::vector<Elem<N>>(n, marker), std::vector<Elem<N>>(n, marker), std::vector<Elem<N>>(n, marker)};
}

// Byte for byte, so that -0.0 and 0.0 or two NaNs of other bits differ.
template <class T> bool sameBytes(const std::vector<T>& a, const std::vector<T>& b) {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}
template <class T> bool sameBytes(const std::array<std::vector<T>, 3>& a, const std::array<std::vector<T>, 3>& b) {
    return sameBytes(a[0], b[0]) && sameBytes(a[1], b[1]) && sameBytes(a[2], b[2]);
}

// The element for an 8-bit sample: the byte itself for VIDEO_UINT8.
template <int N> Elem<N> raised(uint8_t b) {
    if constexpr (N == VIDEO_UINT8) return b;
    else return videoTraits<N>::EightBitLUT[b];
}

} // namespace korvatest

#endif
