#include "video_test_support.h"
#include "ycbcr_reference.h"

#include <korva/video/quantise.h>

#include <gtest/gtest.h>

#include <algorithm>

using namespace korvatest;
using korva::video::quantiseToEightBit;
using namespace korvaref;

namespace {

// What a family's walks may touch at W x H, over all flags, as its callers
// must provide it: frame bytes, and elements of each plane.
struct Room { long frame; long planes[3]; };
long eitherGroups(long w, long h) { return std::max((w * h + 1) / 2, groupsOf(w) * h); }

template <class S, class R> struct Family { const char* name; S select; R reference; Room (*room)(long w, long h); };
using InputFamily = Family<MMVideoInputSelector, void (*)(const uint8_t*, Plane*, long, long, int)>;
using OutputFamily = Family<MMVideoOutputSelector, void (*)(const Plane*, uint8_t*, long, long, int)>;

const InputFamily INPUTS[] = {
    {"YCbCrToRGBChannelsInput", MM_GetYCbCrToRGBChannelsInputFcn, yuy2ToRGB,
     [](long w, long h) { const long g = eitherGroups(w, h); return Room{4 * g, {2 * g, 2 * g, 2 * g}}; }},
    {"RGBToYCbCrChannelsInput", MM_GetRGBToYCbCrChannelsInputFcn, rgbToYCbCr,
     [](long w, long h) { const long c = pairsOf(w) * h; return Room{long(rgbFrameBytes(w, h)), {2 * c, c, c}}; }},
    {"RGBToYCbCrChannelsInput_mmr", MM_GetRGBToYCbCrChannelsInputFcn_mmr, rgbPlanesToYCbCr,
     [](long w, long h) { const long c = groupsOf(w) * h; return Room{3 * w * h + h, {2 * c, c, c}}; }},
    {"YCbCrToYCbCrChannelsInput", MM_GetYCbCrToYCbCrChannelsInputFcn, yuy2ToYCbCr,
     [](long w, long h) { const long g = (w * h + 1) / 2, c = eitherGroups(w, h); return Room{4 * g, {2 * g, c, c}}; }},
    {"YCbCrToIntensityChannelsInput", MM_GetYCbCrToIntensityChannelsInputFcn, yuy2ToIntensity,
     [](long w, long h) { return Room{2 * w * h, {w * h, 0, 0}}; }},
};
// The intensity outputs get null for plane1 and plane2.
const OutputFamily OUTPUTS[] = {
    {"RGBToRGBChannelsOutput", MM_GetRGBToRGBChannelsOutputFcn, rgbToRGB,
     [](long w, long h) { return Room{long(rgbFrameBytes(w, h)), {w * h, w * h, w * h}}; }},
    {"IntensityToRGBChannelsOutput", MM_GetIntensityToRGBChannelsOutputFcn, intensityToRGB,
     [](long w, long h) { return Room{long(rgbFrameBytes(w, h)), {w * h, 0, 0}}; }},
    {"YCbCrToRGBChannelsOutput", MM_GetYCbCrToRGBChannelsOutputFcn, ycbcrToRGB,
     [](long w, long h) { const long c = pairsOf(w) * h; return Room{long(rgbFrameBytes(w, h)), {w * h, c, c}}; }},
    {"RGBToYCbCrChannelsOutput", MM_GetRGBToYCbCrChannelsOutputFcn, rgbToYUY2,
     [](long w, long h) { return Room{4 * w * h, {w * h + 1, w * h + 1, w * h + 1}}; }},
    {"IntensityToYCbCrChannelsOutput", MM_GetIntensityToYCbCrChannelsOutputFcn, intensityToYUY2,
     [](long w, long h) { return Room{4 * groupsOf(w) * h, {2 * w * h, 0, 0}}; }},
    {"YCbCrToYCbCrChannelsOutput", MM_GetYCbCrToYCbCrChannelsOutputFcn, ycbcrToYUY2,
     [](long w, long h) { const long g = eitherGroups(w, h); return Room{4 * g, {2 * g, g, g}}; }},
};

// One member against its plain walk, the frame cut to just the room the
// walks reach and the planes just as large, so that the address checker sees
// a walk that goes further. Output frames start out random: what a walk does
// not write, filler included, must keep its bytes.
template <int N> void checkInput(const InputFamily& family, int w, int h, int flag) {
    const Room room = family.room(w, h);
    const auto frame = randomBytes(room.frame, w * 1000 + h);
    Planes<N> got, want;
    Plane values[3];
    for (int c = 0; c < 3; ++c) got[c].assign(room.planes[c], Elem<N>(0x5a)), values[c].assign(room.planes[c], -1);
    family.select(VideoDataType(N))(frame.data(), got[0].data(), got[1].data(), got[2].data(), w, h, flag);
    family.reference(frame.data(), values, w, h, flag);
    for (int c = 0; c < 3; ++c)
        for (int v : values[c]) want[c].push_back(v < 0 ? Elem<N>(0x5a) : raised<N>(uint8_t(v)));
    EXPECT_TRUE(sameBytes(got, want)) << family.name;
}

template <int N> void checkOutput(const OutputFamily& family, int w, int h, int flag) {
    const Room room = family.room(w, h);
    std::vector<Elem<N>> planes[3];
    Plane values[3];
    for (int c = 0; c < 3; ++c) {
        planes[c] = randomElements<N>(room.planes[c], w * 1000 + h + c);
        for (Elem<N> e : planes[c]) values[c].push_back(quantiseToEightBit<N>(e));
    }
    auto got = randomBytes(room.frame, h * 1000 + w), want = got;
    family.select(VideoDataType(N))(planes[0].data(), planes[1].data(), planes[2].data(), got.data(), w, h, flag);
    family.reference(values, want.data(), w, h, flag);
    EXPECT_EQ(got, want) << family.name;
}

// Every member of every family, in flags 0, 1 and 2 (any other value), over
// random data of odd and even sizes, empty ones, a picture taller than the
// column walks' bands, one of several of the RGB outputs' tiles, and one
// taller than the strips in which the RGB outputs reduce column-order planes.
TEST(PackedFamilies, EveryMemberMatchesThePlainWalk) {
    forEachVideoType([&](auto type) {
        constexpr int N = decltype(type)::value;
        for (auto [w, h] : sizesWith({{6, 4}, {35, 300}, {250, 200}, {17, 1030}}))
            for (int flag : {0, 1, 2}) {
                SCOPED_TRACE(sizeName(N, w, h, flag));
                for (const InputFamily& family : INPUTS) checkInput<N>(family, w, h, flag);
                for (const OutputFamily& family : OUTPUTS) checkOutput<N>(family, w, h, flag);
            }
    });
}

using Bytes = std::vector<int>;

// The worked values of the colour model, held by the plain maps that the
// kernel tests compare against.
TEST(YCbCrModel, WorkedValues) {
    const Bytes rows[] = {{0, 0, 0, 16, 128, 128, 0, 0, 0}, {255, 255, 255, 234, 128, 128, 254, 254, 254},
                          {128, 128, 128, 126, 128, 128, 128, 128, 128}, {255, 0, 0, 81, 90, 240, 254, 0, 0},
                          {0, 255, 0, 144, 54, 34, 0, 254, 0}, {0, 0, 255, 41, 240, 110, 0, 0, 255}};
    for (const Bytes& row : rows) {
        const int r = row[0], g = row[1], b = row[2];
        const RGB back = rgbOf(row[3], row[4], row[5]);
        EXPECT_EQ((Bytes{r, g, b, lumaOf(r, g, b), cbOf(r, g, b), crOf(r, g, b), back.r, back.g, back.b}), row);
    }
    for (auto [y, grey] : {std::pair{235, 255}, {16, 0}, {0, 0}, {255, 255}}) {
        const RGB c = rgbOf(y, 128, 128);
        EXPECT_EQ((Bytes{c.r, c.g, c.b}), (Bytes{grey, grey, grey})) << y;
    }
    EXPECT_EQ((Bytes{lumaOfIntensity(0), lumaOfIntensity(128), lumaOfIntensity(255)}), (Bytes{16, 126, 234}));
    EXPECT_EQ((Bytes{intensityOfLuma(0), intensityOfLuma(16), intensityOfLuma(100), intensityOfLuma(116),
                     intensityOfLuma(234), intensityOfLuma(235), intensityOfLuma(240)}),
              (Bytes{0, 0, 97, 116, 253, 255, 255}));
}

// Worked cases that pin the plain walks' reading of the lopsided rules.
TEST(PackedFamilies, WorkedCases) {
    // A red and a green pixel; the row form writes a group for each pixel,
    // the second from the pixel past the planes' end (grey 7, luma 22).
    const uint8_t r[3] = {255, 0, 7}, g[3] = {0, 255, 7}, b[3] = {0, 0, 7};
    uint8_t yuy2[16] = {};
    MM_GetRGBToYCbCrChannelsOutputFcn(VIDEO_UINT8)(r, g, b, yuy2, 2, 1, 1);
    EXPECT_EQ(Bytes(yuy2, yuy2 + 4), (Bytes{81, 90, 144, 240}));
    MM_GetRGBToYCbCrChannelsOutputFcn(VIDEO_UINT8)(r, g, b, yuy2, 2, 1, 0);
    EXPECT_EQ(Bytes(yuy2, yuy2 + 8), (Bytes{81, 90, 144, 240, 144, 54, 22, 34}));

    // Intensity: the row form maps the second pixel of a pair twice and reads
    // rows of width 3 as elements 0, 1, 4, then 2, 3, 9.
    const uint8_t white[2] = {255, 255};
    MM_GetIntensityToYCbCrChannelsOutputFcn(VIDEO_UINT8)(white, nullptr, nullptr, yuy2, 2, 1, 0);
    EXPECT_EQ(Bytes(yuy2, yuy2 + 4), (Bytes{234, 128, 216, 128}));
    uint8_t ramp[12];
    for (int i = 0; i < 12; ++i) ramp[i] = uint8_t(20 * i);
    MM_GetIntensityToYCbCrChannelsOutputFcn(VIDEO_UINT8)(ramp, nullptr, nullptr, yuy2, 3, 2, 0);
    const auto twice = [](int i) { return lumaOfIntensity(lumaOfIntensity(i)); };
    EXPECT_EQ((Bytes{yuy2[0], yuy2[2], yuy2[4], yuy2[6], yuy2[8], yuy2[10], yuy2[12], yuy2[14]}),
              (Bytes{lumaOfIntensity(0), twice(20), lumaOfIntensity(80), lumaOfIntensity(80), lumaOfIntensity(40),
                     twice(60), lumaOfIntensity(180), lumaOfIntensity(180)}));

    // Column order with an odd width: chroma by the byte's place in the frame.
    uint8_t frame[12], y[6], cb[4] = {}, cr[4] = {};
    for (int i = 0; i < 12; ++i) frame[i] = uint8_t(i + 1);
    MM_GetYCbCrToYCbCrChannelsInputFcn(VIDEO_UINT8)(frame, y, cb, cr, 3, 2, 1);
    EXPECT_EQ(Bytes(y, y + 6), (Bytes{1, 7, 3, 9, 5, 11}));
    EXPECT_EQ((Bytes{cb[0], cb[1], cb[2], cr[0], cr[1], cr[3]}), (Bytes{2, 10, 6, 4, 8, 12}));
}

} // namespace
