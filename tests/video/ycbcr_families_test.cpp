#include "video_test_support.h"
#include "ycbcr_reference.h"

#include <korva/video/quantise.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <type_traits>

using namespace korvatest;
using korva::video::quantiseToEightBit;
using korvaref::groupsOf;
using korvaref::pairsOf;

namespace {

// What a family's walks may touch at W x H, over all flags, as its callers
// must provide it: frame bytes, and elements of each plane.
struct Room {
    long frame;
    long planes[3];
};

// Groups of a linear walk over N pixels.
long linearGroups(long w, long h) { return (w * h + 1) / 2; }

struct InputFamily {
    const char* name;
    MMVideoInputSelector select;
    void (*reference)(const uint8_t*, korvaref::Plane*, long, long, int);
    Room (*room)(long w, long h);
};

const InputFamily INPUTS[] = {
    {"YCbCrToRGBChannelsInput", MM_GetYCbCrToRGBChannelsInputFcn, korvaref::yuy2ToRGB,
     [](long w, long h) {
         const long groups = std::max(linearGroups(w, h), groupsOf(w) * h);
         return Room{4 * groups, {2 * groups, 2 * groups, 2 * groups}};
     }},
    {"RGBToYCbCrChannelsInput", MM_GetRGBToYCbCrChannelsInputFcn, korvaref::rgbToYCbCr,
     [](long w, long h) {
         return Room{long(rgbFrameBytes(w, h)), {2 * pairsOf(w) * h, pairsOf(w) * h, pairsOf(w) * h}};
     }},
    {"RGBToYCbCrChannelsInput_mmr", MM_GetRGBToYCbCrChannelsInputFcn_mmr, korvaref::rgbPlanesToYCbCr,
     [](long w, long h) {
         return Room{3 * w * h + h, {2 * groupsOf(w) * h, groupsOf(w) * h, groupsOf(w) * h}};
     }},
    {"YCbCrToYCbCrChannelsInput", MM_GetYCbCrToYCbCrChannelsInputFcn, korvaref::yuy2ToYCbCr,
     [](long w, long h) {
         const long chroma = std::max(linearGroups(w, h), groupsOf(w) * h);
         return Room{4 * linearGroups(w, h), {2 * linearGroups(w, h), chroma, chroma}};
     }},
    {"YCbCrToIntensityChannelsInput", MM_GetYCbCrToIntensityChannelsInputFcn, korvaref::yuy2ToIntensity,
     [](long w, long h) {
         return Room{2 * w * h, {w * h, 0, 0}};
     }},
};

struct OutputFamily {
    const char* name;
    MMVideoOutputSelector select;
    void (*reference)(const korvaref::Plane*, uint8_t*, long, long, int);
    Room (*room)(long w, long h);
};

const OutputFamily OUTPUTS[] = {
    {"YCbCrToRGBChannelsOutput", MM_GetYCbCrToRGBChannelsOutputFcn, korvaref::ycbcrToRGB,
     [](long w, long h) {
         return Room{long(rgbFrameBytes(w, h)), {w * h, pairsOf(w) * h, pairsOf(w) * h}};
     }},
    {"RGBToYCbCrChannelsOutput", MM_GetRGBToYCbCrChannelsOutputFcn, korvaref::rgbToYUY2,
     [](long w, long h) {
         return Room{4 * w * h, {w * h + 1, w * h + 1, w * h + 1}};
     }},
    {"IntensityToYCbCrChannelsOutput", MM_GetIntensityToYCbCrChannelsOutputFcn, korvaref::intensityToYUY2,
     [](long w, long h) {
         return Room{4 * groupsOf(w) * h, {2 * w * h, 0, 0}};
     }},
    {"YCbCrToYCbCrChannelsOutput", MM_GetYCbCrToYCbCrChannelsOutputFcn, korvaref::ycbcrToYUY2,
     [](long w, long h) {
         const long groups = std::max(linearGroups(w, h), groupsOf(w) * h);
         return Room{4 * groups, {2 * groups, groups, groups}};
     }},
};

template <int N> std::vector<Elem<N>> randomElements(long n, uint32_t seed) {
    std::mt19937 gen(seed);
    std::vector<Elem<N>> elements(n);
    for (auto& e : elements) {
        if constexpr (std::is_floating_point<Elem<N>>::value)
            e = Elem<N>(std::uniform_real_distribution<double>(-0.25, 1.25)(gen));
        else if constexpr (N == VIDEO_LOGICAL)
            e = Elem<N>(gen() % 3);
        else
            e = Elem<N>(gen());
    }
    return elements;
}

template <int N> bool sameBytes(const std::vector<Elem<N>>& a, const std::vector<Elem<N>>& b) {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(Elem<N>)) == 0);
}

// The sizes of the other kernel tests, zero sizes, and a picture taller than
// the column walks' bands.
std::vector<std::pair<int, int>> sizes() {
    std::vector<std::pair<int, int>> all(std::begin(SIZES), std::end(SIZES));
    all.insert(all.end(), {{0, 3}, {3, 0}, {6, 4}, {35, 300}});
    return all;
}

template <int N> void checkInput(const InputFamily& family, int w, int h, int flag) {
    const Room room = family.room(w, h);
    const auto frame = randomBytes(room.frame, w * 1000 + h);
    const Elem<N> marker = Elem<N>(0x5a);
    std::vector<Elem<N>> got[3], want[3];
    korvaref::Plane values[3];
    for (int c = 0; c < 3; ++c) {
        got[c].assign(room.planes[c], marker);
        values[c].assign(room.planes[c], -1);
    }
    family.select(VideoDataType(N))(frame.data(), got[0].data(), got[1].data(), got[2].data(), w, h, flag);
    family.reference(frame.data(), values, w, h, flag);
    for (int c = 0; c < 3; ++c) {
        for (int v : values[c]) want[c].push_back(v < 0 ? marker : raised<N>(uint8_t(v)));
        EXPECT_TRUE(sameBytes<N>(got[c], want[c])) << "plane " << c;
    }
}

template <int N> void checkOutput(const OutputFamily& family, int w, int h, int flag) {
    const Room room = family.room(w, h);
    std::vector<Elem<N>> planes[3];
    korvaref::Plane values[3];
    for (int c = 0; c < 3; ++c) {
        planes[c] = randomElements<N>(room.planes[c], w * 1000 + h + c);
        for (Elem<N> e : planes[c]) values[c].push_back(quantiseToEightBit<N>(e));
    }
    auto got = randomBytes(room.frame, h * 1000 + w), want = got;
    family.select(VideoDataType(N))(planes[0].data(), planes[1].data(), planes[2].data(), got.data(), w, h, flag);
    family.reference(values, want.data(), w, h, flag);
    EXPECT_EQ(got, want);
}

// Every member of every family, in flags 0, 1 and 2 (any other value),
// against the plain walks over random data of odd and even sizes. The
// planes and frames are just as large as the walks reach, so that the
// address checker sees a walk that goes further.
TEST(YCbCrFamilies, EveryMemberMatchesThePlainWalk) {
    forEachVideoType([](auto type) {
        constexpr int N = decltype(type)::value;
        for (auto [w, h] : sizes())
            for (int flag : {0, 1, 2}) {
                const std::string where =
                    "type " + std::to_string(N) + ", " + std::to_string(w) + "x" + std::to_string(h) + ", flag ";
                for (const InputFamily& family : INPUTS) {
                    SCOPED_TRACE(family.name + (", " + where) + std::to_string(flag));
                    checkInput<N>(family, w, h, flag);
                }
                for (const OutputFamily& family : OUTPUTS) {
                    SCOPED_TRACE(family.name + (", " + where) + std::to_string(flag));
                    checkOutput<N>(family, w, h, flag);
                }
            }
    });
}

using Bytes = std::vector<int>;

// Worked cases that check the plain walks' reading of the rules.
TEST(YCbCrFamilies, WorkedCases) {
    // A red and a green pixel; the row form writes a group for each pixel,
    // the second from the pixel past the planes' end (grey 7, luma 22).
    const uint8_t r[3] = {255, 0, 7}, g[3] = {0, 255, 7}, b[3] = {0, 0, 7};
    uint8_t yuy2[8] = {};
    MM_GetRGBToYCbCrChannelsOutputFcn(VIDEO_UINT8)(r, g, b, yuy2, 2, 1, 1);
    EXPECT_EQ(Bytes(yuy2, yuy2 + 4), (Bytes{81, 90, 144, 240}));
    MM_GetRGBToYCbCrChannelsOutputFcn(VIDEO_UINT8)(r, g, b, yuy2, 2, 1, 0);
    EXPECT_EQ(Bytes(yuy2, yuy2 + 8), (Bytes{81, 90, 144, 240, 144, 54, 22, 34}));

    // Intensity: the row form maps the second pixel twice.
    const uint8_t white[2] = {255, 255}, black[2] = {0, 0};
    MM_GetIntensityToYCbCrChannelsOutputFcn(VIDEO_UINT8)(white, nullptr, nullptr, yuy2, 2, 1, 1);
    EXPECT_EQ(Bytes(yuy2, yuy2 + 4), (Bytes{234, 128, 234, 128}));
    MM_GetIntensityToYCbCrChannelsOutputFcn(VIDEO_UINT8)(white, nullptr, nullptr, yuy2, 2, 1, 0);
    EXPECT_EQ(Bytes(yuy2, yuy2 + 4), (Bytes{234, 128, 216, 128}));
    MM_GetIntensityToYCbCrChannelsOutputFcn(VIDEO_UINT8)(black, nullptr, nullptr, yuy2, 2, 1, 0);
    EXPECT_EQ(Bytes(yuy2, yuy2 + 4), (Bytes{16, 128, 30, 128}));
    // Width 3, height 2, row form: elements 0, 1, 4, then 2, 3, 9. Only the
    // element at each of those indexes is bright.
    for (int bright : {0, 1, 4, 2, 3, 9}) {
        uint8_t plane[12] = {}, frame[16];
        plane[bright] = 255;
        MM_GetIntensityToYCbCrChannelsOutputFcn(VIDEO_UINT8)(plane, nullptr, nullptr, frame, 3, 2, 0);
        const int at[6] = {0, 2, 4, 8, 10, 12}; // luma bytes of the six pixels' reads, in reading order
        int lit = 0;
        for (int k = 0; k < 6; ++k) lit += frame[at[k]] > 30 ? 1 << k : 0;
        const int order[10] = {0, 1, 3, 4, 2, -1, -1, -1, -1, 5};
        EXPECT_EQ(lit, 1 << order[bright]) << bright;
    }

    // Column order with an odd width: chroma by the byte's place in the frame.
    uint8_t frame[12], y[6], cb[4] = {}, cr[4] = {};
    for (int i = 0; i < 12; ++i) frame[i] = uint8_t(i + 1);
    MM_GetYCbCrToYCbCrChannelsInputFcn(VIDEO_UINT8)(frame, y, cb, cr, 3, 2, 1);
    EXPECT_EQ(Bytes(y, y + 6), (Bytes{1, 7, 3, 9, 5, 11}));
    EXPECT_EQ(Bytes(cb, cb + 3), (Bytes{2, 10, 6}));
    EXPECT_EQ((Bytes{cr[0], cr[1], cr[3]}), (Bytes{4, 8, 12}));

    // Black and white through each type's table.
    const uint8_t group[4] = {16, 128, 235, 128};
    uint16_t wide[3][2];
    MM_GetYCbCrToRGBChannelsInputFcn(VIDEO_UINT16)(group, wide[0], wide[1], wide[2], 2, 1, 0);
    EXPECT_EQ((Bytes{wide[0][0], wide[1][0], wide[2][1]}), (Bytes{0, 0, 65280}));
    uint8_t truth[3][2];
    MM_GetYCbCrToRGBChannelsInputFcn(VIDEO_LOGICAL)(group, truth[0], truth[1], truth[2], 2, 1, 0);
    EXPECT_EQ((Bytes{truth[0][0], truth[1][0], truth[2][1]}), (Bytes{0, 0, 1}));
    double unit[3][2];
    MM_GetYCbCrToRGBChannelsInputFcn(VIDEO_DOUBLE)(group, unit[0], unit[1], unit[2], 2, 1, 1);
    EXPECT_EQ((std::vector<double>{unit[0][0], unit[2][1]}), (std::vector<double>{0.0, 1.0}));

    // Planes to a packed frame: the pad bytes keep their value.
    const uint8_t luma[2] = {16, 235}, neutral[1] = {128};
    uint8_t rgb[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    MM_GetYCbCrToRGBChannelsOutputFcn(VIDEO_UINT8)(luma, neutral, neutral, rgb, 2, 1, 0);
    EXPECT_EQ(Bytes(rgb, rgb + 8), (Bytes{0, 0, 0, 255, 255, 255, 9, 9}));
}

// A frame into YCbCr planes and back gives the frame again for 8-bit planes;
// 16-bit planes bring every byte above 128 back one lower.
TEST(YCbCrFamilies, SamplesRoundTrip) {
    const auto frame = randomBytes(2 * 6 * 4, 7);
    for (int flag : {0, 1}) {
        uint8_t y[24], cb[12], cr[12], back[48];
        MM_GetYCbCrToYCbCrChannelsInputFcn(VIDEO_UINT8)(frame.data(), y, cb, cr, 6, 4, flag);
        MM_GetYCbCrToYCbCrChannelsOutputFcn(VIDEO_UINT8)(y, cb, cr, back, 6, 4, flag);
        EXPECT_EQ(Bytes(back, back + 48), Bytes(frame.begin(), frame.end())) << flag;
        uint16_t y16[24], cb16[12], cr16[12];
        MM_GetYCbCrToYCbCrChannelsInputFcn(VIDEO_UINT16)(frame.data(), y16, cb16, cr16, 6, 4, flag);
        MM_GetYCbCrToYCbCrChannelsOutputFcn(VIDEO_UINT16)(y16, cb16, cr16, back, 6, 4, flag);
        for (int i = 0; i < 48; ++i) EXPECT_EQ(back[i], frame[i] > 128 ? frame[i] - 1 : frame[i]) << flag;
    }
}

} // namespace
