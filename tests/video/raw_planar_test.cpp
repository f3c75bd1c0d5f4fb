#include "element_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace korvatest;

namespace {

// The nine pairs and their element rules, as told.
template <int In, int Out> Elem<Out> rule(Elem<In> x) {
    if constexpr (In == Out) return x;
    else if constexpr (In == VIDEO_LOGICAL) return x ? 255 : 0;
    else if constexpr (In == VIDEO_INT32) return Elem<Out>(x / 65536);
    else if constexpr (In == VIDEO_UINT32) return Elem<Out>(x >> 16);
    else {
        const double min = -32768, max = 32767;
        const double v = std::floor(double(-x) * min);
        if (v + 0.5 > max) return 32767;
        if (v - 0.5 < min) return -32768;
        if (std::isnan(v)) return 0; // the out-of-range conversion, narrowed
        return Elem<Out>(v >= -0.5 ? int32_t(v + 0.5) : int32_t(v - 0.5));
    }
}

template <int In, int Out> struct Pair {
    static constexpr VideoDataType in = VideoDataType(In), out = VideoDataType(Out);
};
using Pairs = std::tuple<Pair<2, 2>, Pair<3, 3>, Pair<8, 3>, Pair<4, 4>, Pair<6, 4>, Pair<1, 4>, Pair<0, 4>,
                         Pair<5, 5>, Pair<7, 5>>;
template <class Body> void forEachPair(Body&& body) {
    std::apply([&](auto... pair) { (body(pair), ...); }, Pairs{});
}

TEST(RawPlanar, TheSelectorKnowsNinePairs) {
    int known = 0;
    for (int in = -1; in <= 9; ++in)
        for (int out = -1; out <= 9; ++out)
            known += MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VideoDataType(in), VideoDataType(out)) != nullptr;
    EXPECT_EQ(known, 9);
    forEachPair([](auto pair) { EXPECT_NE(MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(pair.in, pair.out), nullptr); });
}

// Every pair against the walk as told, with and without filler and flip, over
// one and three planes; the elements after the last plane stay untouched.
TEST(RawPlanar, EveryPairMatchesThePlainWalk) {
    forEachPair([](auto pair) {
        constexpr int In = decltype(pair)::in, Out = decltype(pair)::out;
        const auto convert = MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(pair.in, pair.out);
        for (auto [w, h] : SIZES)
            for (int planes : {1, 3})
                for (int pad : {0, 1, 3})
                    for (bool bottomUp : {false, true}) {
                        SCOPED_TRACE(std::to_string(In) + " to " + std::to_string(Out) + ", " + sizeName(w, h, pad) +
                                     ", planes " + std::to_string(planes) + (bottomUp ? ", bottom-up" : ""));
                        const auto in = randomElements<In>(std::size_t(planes) * w * h, w * 7 + h);
                        const std::size_t outSize = std::size_t(planes) * h * (w + pad) + 4;
                        std::vector<Elem<Out>> got(outSize, Elem<Out>(0x5a)), want(got);
                        std::size_t o = 0;
                        for (int p = 0; p < planes; ++p) {
                            const Elem<In>* plane = in.data() + std::size_t(p) * h * w;
                            for (int i = 0; i < h; ++i) {
                                const int r = bottomUp ? h - 1 - i : i;
                                for (int c = 0; c < w; ++c) want[o++] = rule<In, Out>(plane[r + std::size_t(c) * h]);
                                for (int k = 0; k < pad; ++k) want[o++] = 0;
                            }
                        }
                        convert(in.data(), got.data(), w, h, planes, pad, bottomUp);
                        EXPECT_EQ(got, want);
                    }
    });
}

// 8-bit copies of a small picture, in the shapes of the worked examples.
std::vector<int> raw(int planes, int pad, bool bottomUp, std::size_t size) {
    const uint8_t in[12] = {1, 2, 3, 4, 5, 6, 11, 12, 13, 14, 15, 16};
    std::vector<uint8_t> out(size, 99);
    MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VIDEO_UINT8, VIDEO_UINT8)(in, out.data(), 3, 2, planes, pad,
                                                                             bottomUp);
    return std::vector<int>(out.begin(), out.end());
}

TEST(RawPlanar, WorkedCases) {
    EXPECT_EQ(raw(1, 0, false, 6), (std::vector<int>{1, 3, 5, 2, 4, 6}));
    EXPECT_EQ(raw(1, 0, true, 6), (std::vector<int>{2, 4, 6, 1, 3, 5}));
    EXPECT_EQ(raw(1, 1, false, 8), (std::vector<int>{1, 3, 5, 0, 2, 4, 6, 0}));
    EXPECT_EQ(raw(2, 0, false, 12)[6], 11);
    EXPECT_EQ(raw(2, 1, false, 16)[8], 11);
    EXPECT_EQ(raw(0, 1, false, 4), (std::vector<int>{99, 99, 99, 99}));
    uint8_t filler[5] = {9, 9, 9, 9, 9}; // width 0: rows of filler only
    MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VIDEO_INT8, VIDEO_INT8)(filler, filler, 0, 2, 1, 2, false);
    EXPECT_EQ(std::vector<int>(filler, filler + 5), (std::vector<int>{0, 0, 0, 0, 9}));
    const double doubles[] = {0.5, -0.5, 1.0, -1.0, -1e-06, 1e-06, std::nan(""), 2.0};
    short words[8];
    MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VIDEO_DOUBLE, VIDEO_INT16)(doubles, words, 8, 1, 1, 0, false);
    EXPECT_EQ(std::vector<int>(words, words + 8), (std::vector<int>{16384, -16384, 32767, -32768, -1, 0, 0, 32767}));
    const int ints[] = {-65535, -65536, 65536 * 3 + 5};
    MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VIDEO_INT32, VIDEO_INT16)(ints, words, 3, 1, 1, 0, false);
    EXPECT_EQ(std::vector<int>(words, words + 3), (std::vector<int>{0, -1, 3}));
    const unsigned uints[] = {0xffffffffu, 0x0001ffffu};
    unsigned short halves[2];
    MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VIDEO_UINT32, VIDEO_UINT16)(uints, halves, 2, 1, 1, 0, false);
    EXPECT_EQ(std::vector<int>(halves, halves + 2), (std::vector<int>{65535, 1}));
}

} // namespace
