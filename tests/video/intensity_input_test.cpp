#include "element_test_support.h"

#include <gtest/gtest.h>

using namespace korvatest;

namespace {

double fromBits(uint64_t bits) {
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}
const double RED = fromBits(0x3F5334F98649B069), GREEN = fromBits(0x3F62DBEA793CC8E6),
             BLUE = fromBits(0x3F3D4DC71DF3F82E);

// A pixel's element as told: the weighted sum in this order, then the low
// value, the high value or the scaled value.
template <int N> Elem<N> intensity(uint8_t r, uint8_t g, uint8_t b) {
    const double y = (double(r) * RED + double(g) * GREEN) + double(b) * BLUE;
    const bool low = !(y > 0.0), high = !(y < 1.0);
    const auto pick = [&](double lo, double hi, auto scaled) {
        return low ? Elem<N>(lo) : high ? Elem<N>(hi) : Elem<N>(scaled());
    };
    const auto byte = [&] { return int32_t(y * 255.0 + 0.5); };
    if constexpr (N == VIDEO_DOUBLE) return pick(0, 1, [&] { return y; });
    else if constexpr (N == VIDEO_SINGLE) return pick(0, 1, [&] { return float(y); });
    else if constexpr (N == VIDEO_INT8) return pick(-127, 127, [&] { return int32_t(y * 255.0 + 0.5 - 128.0); });
    else if constexpr (N == VIDEO_UINT8) return pick(0, 255, byte);
    else if constexpr (N == VIDEO_INT16)
        return pick(-32768, 32767, [&] { return int32_t(y * 255.0 * 257.0 - 32768.0); });
    else if constexpr (N == VIDEO_UINT16) return pick(0, 65535, [&] { return byte() * 257; });
    else if constexpr (N == VIDEO_INT32)
        return pick(-2147483648.0, 2147483647.0, [&] { return int32_t(y * 16843009.0 * 255.0 - 2147483648.0); });
    else if constexpr (N == VIDEO_UINT32) return pick(0, 4294967295.0, [&] { return uint32_t(byte()) * 0x01010101u; });
    else return pick(0, 1, [&] { return int32_t(y + 0.5); });
}

// The walks as told: the packed frame from its last byte backwards, line by
// line, stepping over the filler first; the three-plane source index by index.
template <int N> void referencePacked(const uint8_t* frame, Elem<N>* out, int w, int h, int flag) {
    const int pad = (4 - (3 * w) % 4) % 4;
    const uint8_t* p = frame + std::ptrdiff_t(h) * (3 * w + pad);
    for (int y = 0; y < h; ++y) {
        p -= pad;
        for (int x = w - 1; x >= 0; --x) {
            p -= 3;
            out[flag ? std::size_t(x) * h + y : std::size_t(y) * w + x] = intensity<N>(p[2], p[1], p[0]);
        }
    }
}
template <int N> void referenceThreePlanes(const uint8_t* src, Elem<N>* out, int w, int h, int flag) {
    const std::size_t n = std::size_t(w) * h;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const std::size_t s = std::size_t(y) * w + x;
            out[flag ? s : std::size_t(x) * h + y] = intensity<N>(src[s], src[n + s], src[2 * n + s]);
        }
}

// Every member, both forms, flags 0, 1 and 2, over random frames with random
// filler. plane1 and plane2 are null: a kernel that touched them would fault,
// as would one that wrote anything for an empty picture.
TEST(RGBToIntensityInput, EveryMemberMatchesThePlainWalk) {
    forEachVideoType([](auto type) {
        constexpr int N = decltype(type)::value;
        const auto t = static_cast<VideoDataType>(N);
        const MMVideoInputFcn packed = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_GREY, t, false);
        const MMVideoInputFcn planar = MM_GetRGBToIntensityChannelsInputFcn_mmr(t);
        ASSERT_TRUE(packed && planar) << N;
        for (auto [w, h] : sizesWithEmpty()) {
            const std::size_t n = std::size_t(w) * h;
            const auto frame = randomBytes(rgbFrameBytes(w, h), w * 1000 + h);
            const auto source = randomBytes(3 * n, h * 1000 + w);
            for (int flag : {0, 1, 2}) {
                SCOPED_TRACE("type " + std::to_string(N) + ", " + sizeName(w, h, flag));
                std::vector<Elem<N>> got(n, Elem<N>(0x5a)), want(n, Elem<N>(0x5a));
                packed(frame.data(), got.data(), nullptr, nullptr, w, h, flag);
                referencePacked<N>(frame.data(), want.data(), w, h, flag);
                EXPECT_EQ(got, want) << "packed";
                planar(source.data(), got.data(), nullptr, nullptr, w, h, flag);
                referenceThreePlanes<N>(source.data(), want.data(), w, h, flag);
                EXPECT_EQ(got, want) << "three planes";
            }
        }
    });
}

// One pixel, red, green, blue, through the packed form.
template <int N> Elem<N> pixel(uint8_t r, uint8_t g, uint8_t b) {
    const uint8_t frame[4] = {b, g, r, 0};
    Elem<N> out{};
    MM_GetRGBToIntensityChannelsInputFcn(static_cast<VideoDataType>(N))(frame, &out, nullptr, nullptr, 1, 1, 0);
    return out;
}

TEST(RGBToIntensityInput, WorkedValues) {
    EXPECT_EQ((std::vector<int64_t>{pixel<2>(0, 0, 0), pixel<4>(0, 0, 0), pixel<2>(255, 255, 255),
                                    pixel<4>(255, 255, 255), pixel<6>(255, 255, 255), pixel<7>(255, 255, 255)}),
              (std::vector<int64_t>{-127, -32768, 127, 32767, 2147483647, 4294967295}));
    EXPECT_DOUBLE_EQ(pixel<0>(128, 128, 128), 0.5019607843137255);
    EXPECT_FLOAT_EQ(pixel<1>(128, 128, 128), 0.501960813999176f);
    EXPECT_EQ((std::vector<int64_t>{pixel<2>(128, 128, 128), pixel<3>(128, 128, 128), pixel<4>(128, 128, 128),
                                    pixel<5>(128, 128, 128), pixel<6>(128, 128, 128), pixel<7>(128, 128, 128),
                                    pixel<8>(128, 128, 128)}),
              (std::vector<int64_t>{0, 128, 128, 32896, 8421504, 2155905152, 1}));
    EXPECT_EQ((std::vector<int64_t>{pixel<3>(1, 0, 0), pixel<4>(1, 0, 0), pixel<6>(1, 0, 0), pixel<4>(0, 0, 1),
                                    pixel<6>(0, 0, 1), pixel<3>(255, 255, 254), pixel<4>(255, 255, 254)}),
              (std::vector<int64_t>{0, -32691, -2142448665, -32738, -2145563192, 255, 32737}));
    // Logical planes threshold the luminance at 0.5: grey 127 is below it.
    EXPECT_EQ((std::vector<int>{pixel<8>(127, 127, 127), pixel<8>(0, 0, 200), pixel<8>(0, 255, 0)}),
              (std::vector<int>{0, 0, 1}));
}

} // namespace
