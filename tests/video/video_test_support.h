#ifndef KORVA_TESTS_VIDEO_SUPPORT_H
#define KORVA_TESTS_VIDEO_SUPPORT_H

// Shared by the video kernel tests: a loop over the nine element types, random
// frames and plane elements, and planes held so that any member can be compared.

#include <korva/korva.h>

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

// Plane elements for the kernels that leave the planes: floating elements a
// little beyond 0 to 1 and the odd NaN, infinity or huge value; logical ones
// mostly 0 and 1; integer ones any bits.
template <int N> std::vector<Elem<N>> randomElements(std::size_t n, uint32_t seed) {
    using T = Elem<N>;
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> unit(-0.25, 1.25);
    const double special[] = {std::nan(""), std::numeric_limits<double>::infinity(), -1e30, 1e30, 0.5, 1.0};
    std::vector<T> v(n);
    for (auto& e : v) {
        const uint32_t r = gen();
        if constexpr (std::is_floating_point<T>::value) e = T(r % 16 == 0 ? special[(r >> 4) % 6] : unit(gen));
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
