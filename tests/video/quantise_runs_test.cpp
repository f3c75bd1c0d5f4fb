#include "video_test_support.h"

#include <korva/video/quantise_runs.h>

#include <gtest/gtest.h>

using namespace korvatest;
using korva::video::quantiseRun;
using korva::video::quantiseToEightBit;

namespace {

// The run as the library's kernels build it: for the wider vector units
// where the library builds a clone for them, and for the baseline always.
#if KORVA_VECTOR_CLONES
template <int N>
__attribute__((target("avx2"), flatten, noinline)) void wideRun(const Elem<N>* from, uint8_t* to, int count) {
    quantiseRun<N>(from, to, count);
}
#endif
template <int N> __attribute__((noinline)) void baselineRun(const Elem<N>* from, uint8_t* to, int count) {
    quantiseRun<N>(from, to, count);
}

template <int N> std::vector<std::pair<const char*, void (*)(const Elem<N>*, uint8_t*, int)>> builds() {
    std::vector<std::pair<const char*, void (*)(const Elem<N>*, uint8_t*, int)>> runs{{"baseline", baselineRun<N>}};
#if KORVA_VECTOR_CLONES
    if (__builtin_cpu_supports("avx2")) runs.push_back({"avx2", wideRun<N>});
#endif
    return runs;
}

// Every edge of the reduction and random elements, through runs of every
// length up to a few vectors and from every start within one, in each build:
// each byte as the element-by-element rule gives it, and nothing written
// past the run.
TEST(QuantiseRuns, EveryBuildGivesTheRuleForEveryEdge) {
    forEachVideoType([](auto type) {
        constexpr int N = decltype(type)::value;
        std::vector<Elem<N>> elements = edgeElements<N>();
        const std::vector<Elem<N>> random = randomElements<N>(4096, N + 1);
        elements.insert(elements.end(), random.begin(), random.end());
        std::vector<uint8_t> want(elements.size());
        for (std::size_t i = 0; i < elements.size(); ++i) want[i] = quantiseToEightBit<N>(elements[i]);
        for (auto [name, run] : builds<N>()) {
            SCOPED_TRACE(std::string(name) + ", type " + std::to_string(N));
            std::vector<uint8_t> got(elements.size() + 1, 0xa5);
            run(elements.data(), got.data(), int(elements.size()));
            ASSERT_EQ(got.back(), 0xa5);
            got.pop_back();
            for (std::size_t i = 0; i < elements.size(); ++i)
                ASSERT_EQ(int(got[i]), int(want[i])) << "element " << i << ": " << double(elements[i]);
            for (int start = 0; start < 16; ++start)
                for (int count = 0; count <= 50; ++count) {
                    std::vector<uint8_t> part(count + 1, 0xa5);
                    run(elements.data() + start + 7 * count, part.data(), count);
                    ASSERT_EQ(std::vector<uint8_t>(part.begin(), part.end() - 1),
                              std::vector<uint8_t>(want.begin() + start + 7 * count,
                                                   want.begin() + start + 8 * count))
                        << "start " << start << ", count " << count;
                    ASSERT_EQ(part.back(), 0xa5);
                }
        }
    });
}

} // namespace
