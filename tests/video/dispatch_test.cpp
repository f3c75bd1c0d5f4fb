#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include <korva/korva.h>

namespace {

// The tables of all types but VIDEO_UINT8 (which has none), seen through doubles, which hold every entry exactly.
template <int N> std::vector<double> lut() { const auto& t = videoTraits<N>::EightBitLUT; return {t.begin(), t.end()}; }
template <int N> void stale(std::size_t n) { videoTraits<N>::EightBitLUT.assign(n, 7); }
const int TYPES[] = {0, 1, 2, 4, 5, 6, 7, 8};
std::vector<double> (*const LUTS[])() = {lut<0>, lut<1>, lut<2>, lut<4>, lut<5>, lut<6>, lut<7>, lut<8>};
void (*const STALE[])(std::size_t) = {stale<0>, stale<1>, stale<2>, stale<4>, stale<5>, stale<6>, stale<7>, stale<8>};
void resetAll() { for (auto reset : STALE) reset(0); }
void expectOnlyBuilt(int type) { // -1 for none
    for (int t = 0; t < 8; ++t) EXPECT_EQ(LUTS[t]().size(), TYPES[t] == type ? 256u : 0u) << "type " << TYPES[t];
}
// Indexed by plane format (UNKNOWN, RGB, GREY, YUY2). FROM_RGB: without, with mmr. TO: RGB frames, YUY2 frames.
const MMVideoInputSelector FROM_RGB[2][4] = {
    {nullptr, MM_GetRGBToRGBChannelsInputFcn, MM_GetRGBToIntensityChannelsInputFcn, MM_GetRGBToYCbCrChannelsInputFcn},
    {nullptr, MM_GetRGBToRGBChannelsInputFcn_mmr, MM_GetRGBToIntensityChannelsInputFcn_mmr,
     MM_GetRGBToYCbCrChannelsInputFcn_mmr}};
const MMVideoInputSelector FROM_YUY2[4] = {nullptr, MM_GetYCbCrToRGBChannelsInputFcn,
                                           MM_GetYCbCrToIntensityChannelsInputFcn, MM_GetYCbCrToYCbCrChannelsInputFcn};
const MMVideoEmptySelector EMPTY[4] = {nullptr, MM_GetToRGBChannelsEmptyFcn, MM_GetToIntensityChannelsEmptyFcn,
                                       MM_GetToYCbCrChannelsEmptyFcn};
const MMVideoOutputSelector TO[2][4] = {
    {nullptr, MM_GetRGBToRGBChannelsOutputFcn, MM_GetIntensityToRGBChannelsOutputFcn,
     MM_GetYCbCrToRGBChannelsOutputFcn},
    {nullptr, MM_GetRGBToYCbCrChannelsOutputFcn, MM_GetIntensityToYCbCrChannelsOutputFcn,
     MM_GetYCbCrToYCbCrChannelsOutputFcn}};

template <int N> std::vector<double> rangeOf() { return {double(videoTraits<N>::min), double(videoTraits<N>::max)}; }
// Entries 0, 1, 127, 128, 255, built over longer stale tables; floats are i / 255 in single precision, even double.
TEST(VideoTraits, RangesAndTableSpotValues) {
    EXPECT_EQ((std::vector<std::vector<double>>{rangeOf<0>(), rangeOf<1>(), rangeOf<2>(), rangeOf<3>(), rangeOf<4>(),
                                                rangeOf<5>(), rangeOf<6>(), rangeOf<7>(), rangeOf<8>()}),
              (std::vector<std::vector<double>>{{0, 1}, {0, 1}, {-128, 127}, {0, 255}, {-32768, 32767}, {0, 65535},
                                                {-2147483648.0, 2147483647.0}, {0, 4294967295.0}, {0, 1}}));
    const std::vector<double> unit = {0.0, 0.003921568859368563, 0.49803921580314636, 0.501960813999176, 1.0};
    const std::vector<std::vector<double>> spots = {
        unit, unit, {-128, -127, -1, 0, 127}, {-32768, -32512, -256, 0, 32512}, {0, 256, 32512, 32768, 65280},
        {-2147483648.0, -2130706432, -16777216, 0, 2130706432}, {0, 16777216, 2130706432, 2147483648.0, 4278190080.0},
        {0, 1, 1, 1, 1}};
    for (int t = 0; t < 8; ++t) {
        STALE[t](300);
        MM_GetRGBToRGBChannelsInputFcn(static_cast<VideoDataType>(TYPES[t]));
        const std::vector<double> lut = LUTS[t]();
        ASSERT_EQ(lut.size(), 256u) << "type " << TYPES[t];
        EXPECT_EQ((std::vector<double>{lut[0], lut[1], lut[127], lut[128], lut[255]}), spots[t]) << "type " << TYPES[t];
    }
}

// Only input and empty selectors build, and only their own type's table; types outside the enumeration give null.
TEST(VideoDispatch, WhichSelectorsBuildAndBadTypesGiveNull) {
    auto check = [](const std::string& name, int plane, auto selector, bool builds) {
        for (int type = -1; type <= 9; ++type) {
            SCOPED_TRACE(name + " " + std::to_string(plane) + ", type " + std::to_string(type));
            resetAll();
            EXPECT_TRUE(!selector(static_cast<VideoDataType>(type)) || (type >= 0 && type <= 8));
            expectOnlyBuilt(builds && type >= 0 && type <= 8 && type != VIDEO_UINT8 ? type : -1);
        }
    };
    for (int p = 1; p <= 3; ++p) { // by plane format
        check("RGB input", p, FROM_RGB[0][p], true), check("RGB mmr input", p, FROM_RGB[1][p], true);
        check("YUY2 input", p, FROM_YUY2[p], true), check("empty", p, EMPTY[p], true);
        check("RGB output", p, TO[0][p], false), check("YUY2 output", p, TO[1][p], false);
    }
    check("RGB24 copy", 1, MM_GetRGBToRGB24ChannelsConvertCopyFcn, false);
    check("RGB24 copy", 2, MM_GetIntensityToRGB24ChannelsConvertCopyFcn, false);
    check("raw planar", 0, [](VideoDataType t) { return MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(t, t); }, false);
}

// One past each end of the enumeration, then all of it.
const FourCCType FORMATS[] = {FourCCType(-1), FourCCType(4), FOURCC_UNKNOWN, FOURCC_RGB, FOURCC_GREY, FOURCC_YUY2};
TEST(VideoDispatch, RoutesByFormatTakeMmrForRgbFramesOnly) {
    for (FourCCType plane : FORMATS) {
        const int p = plane >= FOURCC_RGB && plane <= FOURCC_YUY2 ? plane : 0; // 0 for an unknown format
        EXPECT_EQ(videoEmptySelector(plane), EMPTY[p]) << plane;
        resetAll(); // logical planes have no blank picture, yet the selector builds their table
        EXPECT_EQ(MM_GetVideoEmptyFcn(plane, VIDEO_LOGICAL), nullptr) << plane;
        expectOnlyBuilt(p ? VIDEO_LOGICAL : -1);
        for (FourCCType frame : FORMATS) {
            SCOPED_TRACE("plane " + std::to_string(plane) + ", frame " + std::to_string(frame));
            const bool rgb = frame == FOURCC_RGB, yuy2 = frame == FOURCC_YUY2, routed = p && (rgb || yuy2);
            EXPECT_EQ(videoInputSelector(frame, plane, false), rgb ? FROM_RGB[0][p] : yuy2 ? FROM_YUY2[p] : nullptr);
            EXPECT_EQ(videoInputSelector(frame, plane, true), rgb ? FROM_RGB[1][p] : yuy2 ? FROM_YUY2[p] : nullptr);
            EXPECT_EQ(videoOutputSelector(plane, frame), rgb ? TO[0][p] : yuy2 ? TO[1][p] : nullptr);
            resetAll(); // input kernels build their type's table, output ones never do
            const bool in = MM_GetVideoInputFcn(frame, plane, VIDEO_INT16, true);
            EXPECT_TRUE((!MM_GetVideoOutputFcn(plane, frame, VIDEO_DOUBLE) && !in) || routed);
            expectOnlyBuilt(routed ? VIDEO_INT16 : -1);
        }
    }
}

} // namespace
