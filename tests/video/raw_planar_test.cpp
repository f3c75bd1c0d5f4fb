#include "video_test_support.h"

#include <gtest/gtest.h>

#include <tuple>

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

// Every pair against the walk as told, with and without filler and flip, over
// none, one and three planes; a width of 0 gives rows of filler alone, and the
// elements after the last plane stay untouched. No other pair has a kernel.
TEST(RawPlanar, EveryPairMatchesThePlainWalk) {
    int known = 0;
    for (int in = -1; in <= 9; ++in)
        for (int out = -1; out <= 9; ++out)
            known += MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VideoDataType(in), VideoDataType(out)) != nullptr;
    EXPECT_EQ(known, 9);
    forEachPair([](auto pair) {
        constexpr int In = decltype(pair)::in, Out = decltype(pair)::out;
        const auto convert = MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(pair.in, pair.out);
        ASSERT_TRUE(convert) << In << " to " << Out;
        for (auto [w, h] : sizesWith())
            for (int planes : {0, 1, 3})
                for (int pad : {0, 1, 3})
                    for (bool bottomUp : {false, true}) {
                        SCOPED_TRACE(sizeName(In, w, h, pad) + " to " + std::to_string(Out) + ", planes " +
                                     std::to_string(planes) + (bottomUp ? ", bottom-up" : ""));
                        const auto in = randomElements<In>(std::size_t(planes) * w * h, w * 7 + h);
                        std::vector<Elem<Out>> got(std::size_t(planes) * h * (w + pad) + 4, Elem<Out>(0x5a)), want(got);
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

// Worked cases of the walk's shape and of the lopsided element rules.
TEST(RawPlanar, WorkedCases) {
    const uint8_t in[6] = {1, 2, 3, 4, 5, 6};
    uint8_t out[8];
    MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(VIDEO_UINT8, VIDEO_UINT8)(in, out, 3, 2, 1, 1, true);
    EXPECT_EQ(std::vector<int>(out, out + 8), (std::vector<int>{2, 4, 6, 0, 1, 3, 5, 0}));
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
