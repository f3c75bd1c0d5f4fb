#ifndef KORVA_TESTS_VIDEO_SUPPORT_H
#define KORVA_TESTS_VIDEO_SUPPORT_H

// Shared by the video kernel tests: a loop over the nine element types, random
// frames, and planes held as raw bytes so that any member can be compared.

#include <korva/korva.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

namespace korvatest {

template <int N> using Type = std::integral_constant<int, N>;
template <int N> using Elem = typename videoTraits<N>::Element;

// Calls body(Type<N>{}) for N = 0 to 8.
template <class Body, int... N> void forEachTypeOf(Body&& body, std::integer_sequence<int, N...>) {
    (body(Type<N>{}), ...);
}
template <class Body> void forEachVideoType(Body&& body) {
    forEachTypeOf(body, std::make_integer_sequence<int, 9>{});
}

inline std::vector<uint8_t> randomBytes(std::size_t n, uint32_t seed) {
    std::mt19937 gen(seed);
    std::vector<uint8_t> bytes(n);
    for (auto& b : bytes) b = static_cast<uint8_t>(gen());
    return bytes;
}

// Odd and even sizes, below and above the kernels' bands and blocks.
const std::pair<int, int> SIZES[] = {{1, 1}, {1, 2}, {2, 1}, {3, 2}, {4, 3}, {5, 7}, {16, 9}, {33, 70}, {67, 130}};

// Three planes of n elements of type N, as bytes, filled with a marker so
// that an element a kernel should have written and did not shows.
template <int N> struct PlaneSet {
    std::vector<Elem<N>> p[3];
    explicit PlaneSet(std::size_t n, Elem<N> marker = Elem<N>(0x5a)) {
        for (auto& plane : p) plane.assign(n, marker);
    }
    void* ptr(int i) { return p[i].data(); }
    bool operator==(const PlaneSet& o) const {
        for (int i = 0; i < 3; ++i)
            if (p[i].size() != o.p[i].size() || std::memcmp(p[i].data(), o.p[i].data(), p[i].size() * sizeof(Elem<N>)))
                return false;
        return true;
    }
};

// The element for an 8-bit sample: the byte itself for VIDEO_UINT8.
template <int N> Elem<N> raised(uint8_t b) {
    if constexpr (N == VIDEO_UINT8) return b;
    else return videoTraits<N>::EightBitLUT[b];
}

} // namespace korvatest

#endif
