#ifndef KORVA_TESTS_VIDEO_ELEMENT_SUPPORT_H
#define KORVA_TESTS_VIDEO_ELEMENT_SUPPORT_H

// Random plane elements of any type for the kernels that leave the planes:
// floating planes hold values a little beyond 0 to 1 and the odd NaN,
// infinity or huge value; logical planes hold mostly 0 and 1; integer planes
// any bits.

#include "video_test_support.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace korvatest {

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

// SIZES and two empty pictures, which must write nothing.
inline std::vector<std::pair<int, int>> sizesWithEmpty() {
    std::vector<std::pair<int, int>> sizes(std::begin(SIZES), std::end(SIZES));
    sizes.insert(sizes.end(), {{0, 3}, {3, 0}});
    return sizes;
}

inline std::string sizeName(int w, int h, int flag) {
    return std::to_string(w) + "x" + std::to_string(h) + ", flag " + std::to_string(flag);
}

} // namespace korvatest

#endif
