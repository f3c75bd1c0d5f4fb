#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <korva/korva.h>

namespace {

// One type's table seen through doubles, which hold every entry exactly.
struct TableAccess {
    VideoDataType type;
    std::vector<double> (*values)();
    const void* (*data)();
    void (*reset)(std::size_t size); // to `size` stale entries of 7
};

template <int N> TableAccess access() {
    using Lut = std::vector<typename videoTraits<N>::Element>;
    return {static_cast<VideoDataType>(N),
            [] {
                const Lut& lut = videoTraits<N>::EightBitLUT;
                return std::vector<double>(lut.begin(), lut.end());
            },
            []() -> const void* { return videoTraits<N>::EightBitLUT.data(); },
            [](std::size_t size) { Lut(size, 7).swap(videoTraits<N>::EightBitLUT); }};
}

const std::vector<TableAccess> TABLES = {access<0>(), access<1>(), access<2>(), access<4>(),
                                         access<5>(), access<6>(), access<7>(), access<8>()};

// Every type but VIDEO_UINT8 names the table it should have built, or -1 for none.
void expectOnlyBuilt(int type) {
    for (const TableAccess& table : TABLES) {
        EXPECT_EQ(table.values().size(), table.type == type ? 256u : 0u) << "table of type " << table.type;
    }
}

struct Selector {
    std::string name;
    bool (*hasKernel)(VideoDataType type);
};

#define SELECTOR(fcn) Selector{#fcn, [](VideoDataType type) { return fcn(type) != nullptr; }}
const std::vector<Selector> BUILDERS = {
    SELECTOR(MM_GetRGBToRGBChannelsInputFcn),         SELECTOR(MM_GetRGBToRGBChannelsInputFcn_mmr),
    SELECTOR(MM_GetRGBToIntensityChannelsInputFcn),   SELECTOR(MM_GetRGBToIntensityChannelsInputFcn_mmr),
    SELECTOR(MM_GetRGBToYCbCrChannelsInputFcn),       SELECTOR(MM_GetRGBToYCbCrChannelsInputFcn_mmr),
    SELECTOR(MM_GetYCbCrToRGBChannelsInputFcn),       SELECTOR(MM_GetYCbCrToIntensityChannelsInputFcn),
    SELECTOR(MM_GetYCbCrToYCbCrChannelsInputFcn),     SELECTOR(MM_GetToRGBChannelsEmptyFcn),
    SELECTOR(MM_GetToIntensityChannelsEmptyFcn),      SELECTOR(MM_GetToYCbCrChannelsEmptyFcn)};
const std::vector<Selector> NON_BUILDERS = {
    SELECTOR(MM_GetRGBToRGBChannelsOutputFcn),        SELECTOR(MM_GetIntensityToRGBChannelsOutputFcn),
    SELECTOR(MM_GetYCbCrToRGBChannelsOutputFcn),      SELECTOR(MM_GetRGBToYCbCrChannelsOutputFcn),
    SELECTOR(MM_GetIntensityToYCbCrChannelsOutputFcn), SELECTOR(MM_GetYCbCrToYCbCrChannelsOutputFcn),
    SELECTOR(MM_GetRGBToRGB24ChannelsConvertCopyFcn), SELECTOR(MM_GetIntensityToRGB24ChannelsConvertCopyFcn),
    {"raw planar",
     [](VideoDataType type) { return MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(type, type) != nullptr; }}};
#undef SELECTOR

// Entries 0, 1, 127, 128 and 255 of each table. The floating ones are i / 255
// rounded to single precision, also in the double table.
const std::vector<std::vector<double>> SPOT_VALUES = {
    {0.0, 0.003921568859368563, 0.49803921580314636, 0.501960813999176, 1.0},
    {0.0, 0.003921568859368563, 0.49803921580314636, 0.501960813999176, 1.0},
    {-128, -127, -1, 0, 127},
    {-32768, -32512, -256, 0, 32512},
    {0, 256, 32512, 32768, 65280},
    {-2147483648.0, -2130706432, -16777216, 0, 2130706432},
    {0, 16777216, 2130706432, 2147483648.0, 4278190080.0},
    {0, 1, 1, 1, 1}};

void expectSpotValues(std::size_t table) {
    const std::vector<double> lut = TABLES[table].values();
    ASSERT_EQ(lut.size(), 256u);
    const std::size_t index[] = {0, 1, 127, 128, 255};
    for (std::size_t k = 0; k < 5; ++k) {
        EXPECT_EQ(lut[index[k]], SPOT_VALUES[table][k]) << "type " << TABLES[table].type << " entry " << index[k];
    }
}

const VideoDataType OUT_OF_RANGE[] = {static_cast<VideoDataType>(9), static_cast<VideoDataType>(-1),
                                      static_cast<VideoDataType>(1000)};

// Each test starts from the state at load time: every table empty.
class VideoDispatch : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const TableAccess& table : TABLES) {
            table.reset(0);
        }
    }
};

template <int N> std::vector<double> rangeOf() {
    EXPECT_EQ(sizeof(typename videoTraits<N>::Element), static_cast<std::size_t>(videoDataTypeSize[N])) << N;
    return {static_cast<double>(videoTraits<N>::min), static_cast<double>(videoTraits<N>::max)};
}

TEST(VideoTraits, RangesOfTheNineTypes) {
    const std::vector<std::vector<double>> actual = {rangeOf<0>(), rangeOf<1>(), rangeOf<2>(),
                                                     rangeOf<3>(), rangeOf<4>(), rangeOf<5>(),
                                                     rangeOf<6>(), rangeOf<7>(), rangeOf<8>()};
    const std::vector<std::vector<double>> expected = {{0, 1},     {0, 1},          {-128, 127},
                                                       {0, 255},   {-32768, 32767}, {0, 65535},
                                                       {-2147483648.0, 2147483647.0}, {0, 4294967295.0}, {0, 1}};
    EXPECT_EQ(actual, expected);
}

// Built from empty, rebuilt in place with equal values, and cut back from a
// longer stale vector.
TEST_F(VideoDispatch, SelectorsBuildRebuildAndCutTheTables) {
    for (std::size_t table = 0; table < TABLES.size(); ++table) {
        const VideoDataType type = TABLES[table].type;
        MM_GetRGBToRGBChannelsInputFcn(type);
        expectSpotValues(table);
        const std::vector<double> first = TABLES[table].values();
        const void* data = TABLES[table].data();
        MM_GetToRGBChannelsEmptyFcn(type);
        MM_GetRGBToRGBChannelsInputFcn_mmr(type);
        EXPECT_EQ(TABLES[table].values(), first) << "type " << type;
        EXPECT_EQ(TABLES[table].data(), data) << "type " << type;
        TABLES[table].reset(300);
        MM_GetToIntensityChannelsEmptyFcn(type);
        expectSpotValues(table);
    }
}

TEST_F(VideoDispatch, OnlyInputAndEmptySelectorsBuildAndOnlyTheirType) {
    for (int type = VIDEO_DOUBLE; type <= VIDEO_LOGICAL; ++type) {
        for (const std::vector<Selector>* group : {&BUILDERS, &NON_BUILDERS}) {
            for (const Selector& selector : *group) {
                SCOPED_TRACE(selector.name + " type " + std::to_string(type));
                SetUp();
                selector.hasKernel(static_cast<VideoDataType>(type));
                expectOnlyBuilt(group == &BUILDERS && type != VIDEO_UINT8 ? type : -1);
            }
        }
    }
}

TEST_F(VideoDispatch, TypesOutsideTheEnumerationGiveNullAndBuildNothing) {
    for (VideoDataType type : OUT_OF_RANGE) {
        for (const std::vector<Selector>* group : {&BUILDERS, &NON_BUILDERS}) {
            for (const Selector& selector : *group) {
                EXPECT_FALSE(selector.hasKernel(type)) << selector.name << " type " << type;
            }
        }
        EXPECT_EQ(MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, type, false), nullptr);
        EXPECT_EQ(MM_GetVideoOutputFcn(FOURCC_RGB, FOURCC_RGB, type), nullptr);
        EXPECT_EQ(MM_GetVideoEmptyFcn(FOURCC_RGB, type), nullptr);
    }
    expectOnlyBuilt(-1);
}

// The formats one past each end of the enumeration, then all of it.
const FourCCType FORMATS[] = {static_cast<FourCCType>(-1), static_cast<FourCCType>(4), FOURCC_UNKNOWN,
                              FOURCC_RGB, FOURCC_GREY, FOURCC_YUY2};

TEST_F(VideoDispatch, InputRoutesTakeMmrForRgbFramesOnly) {
    const std::map<std::pair<FourCCType, FourCCType>, std::pair<MMVideoInputSelector, MMVideoInputSelector>> routes = {
        {{FOURCC_RGB, FOURCC_GREY}, {MM_GetRGBToIntensityChannelsInputFcn, MM_GetRGBToIntensityChannelsInputFcn_mmr}},
        {{FOURCC_RGB, FOURCC_YUY2}, {MM_GetRGBToYCbCrChannelsInputFcn, MM_GetRGBToYCbCrChannelsInputFcn_mmr}},
        {{FOURCC_RGB, FOURCC_RGB}, {MM_GetRGBToRGBChannelsInputFcn, MM_GetRGBToRGBChannelsInputFcn_mmr}},
        {{FOURCC_YUY2, FOURCC_GREY}, {MM_GetYCbCrToIntensityChannelsInputFcn, MM_GetYCbCrToIntensityChannelsInputFcn}},
        {{FOURCC_YUY2, FOURCC_YUY2}, {MM_GetYCbCrToYCbCrChannelsInputFcn, MM_GetYCbCrToYCbCrChannelsInputFcn}},
        {{FOURCC_YUY2, FOURCC_RGB}, {MM_GetYCbCrToRGBChannelsInputFcn, MM_GetYCbCrToRGBChannelsInputFcn}}};
    for (FourCCType frame : FORMATS) {
        for (FourCCType plane : FORMATS) {
            SCOPED_TRACE("frame " + std::to_string(frame) + " plane " + std::to_string(plane));
            const auto route = routes.find({frame, plane});
            const bool known = route != routes.end();
            EXPECT_EQ(videoInputSelector(frame, plane, false), known ? route->second.first : nullptr);
            EXPECT_EQ(videoInputSelector(frame, plane, true), known ? route->second.second : nullptr);
            // Both forms build the type's table; a pair without a family builds none.
            for (bool mmr : {false, true}) {
                SetUp();
                const MMVideoInputFcn kernel = MM_GetVideoInputFcn(frame, plane, VIDEO_INT16, mmr);
                EXPECT_TRUE(known || kernel == nullptr);
                expectOnlyBuilt(known ? VIDEO_INT16 : -1);
            }
        }
    }
}

TEST_F(VideoDispatch, OutputAndEmptyRoutesAndTheLogicalEmptyNull) {
    const std::map<std::pair<FourCCType, FourCCType>, MMVideoOutputSelector> routes = {
        {{FOURCC_GREY, FOURCC_RGB}, MM_GetIntensityToRGBChannelsOutputFcn},
        {{FOURCC_YUY2, FOURCC_RGB}, MM_GetYCbCrToRGBChannelsOutputFcn},
        {{FOURCC_RGB, FOURCC_RGB}, MM_GetRGBToRGBChannelsOutputFcn},
        {{FOURCC_GREY, FOURCC_YUY2}, MM_GetIntensityToYCbCrChannelsOutputFcn},
        {{FOURCC_YUY2, FOURCC_YUY2}, MM_GetYCbCrToYCbCrChannelsOutputFcn},
        {{FOURCC_RGB, FOURCC_YUY2}, MM_GetRGBToYCbCrChannelsOutputFcn}};
    const std::map<FourCCType, MMVideoEmptySelector> empty = {{FOURCC_GREY, MM_GetToIntensityChannelsEmptyFcn},
                                                              {FOURCC_YUY2, MM_GetToYCbCrChannelsEmptyFcn},
                                                              {FOURCC_RGB, MM_GetToRGBChannelsEmptyFcn}};
    for (FourCCType plane : FORMATS) {
        for (FourCCType frame : FORMATS) {
            const auto route = routes.find({plane, frame});
            const bool known = route != routes.end();
            EXPECT_EQ(videoOutputSelector(plane, frame), known ? route->second : nullptr) << plane << ", " << frame;
            EXPECT_TRUE(known || MM_GetVideoOutputFcn(plane, frame, VIDEO_DOUBLE) == nullptr) << plane << ", " << frame;
        }
        expectOnlyBuilt(-1); // output routes never build
        const auto route = empty.find(plane);
        const bool known = route != empty.end();
        EXPECT_EQ(videoEmptySelector(plane), known ? route->second : nullptr) << plane;
        // Logical planes have no blank picture, yet the selector builds their table.
        EXPECT_EQ(MM_GetVideoEmptyFcn(plane, VIDEO_LOGICAL), nullptr) << plane;
        expectOnlyBuilt(known ? VIDEO_LOGICAL : -1);
        SetUp();
    }
}

} // namespace
