#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <korva/korva.h>

namespace {

template <typename E> void expectValues(const std::vector<std::pair<E, int32_t>>& table) {
    static_assert(std::is_same<std::underlying_type_t<E>, int32_t>::value, "enumerations are 32 bits wide");
    for (const auto& [enumerator, value] : table) {
        EXPECT_EQ(static_cast<int32_t>(enumerator), value);
    }
}

TEST(MediaTypes, EnumeratorValuesAreFixed) {
    expectValues<AudioDataType>({{AUDIO_DOUBLE, 0}, {AUDIO_SINGLE, 1}, {AUDIO_INT8, 2}, {AUDIO_UINT8, 3},
                                 {AUDIO_INT16, 4}, {AUDIO_UINT16, 5}, {AUDIO_INT32, 6}, {AUDIO_UINT32, 7},
                                 {AUDIO_LOGICAL, 8}, {AUDIO_INT24, 9}, {AUDIO_UINT24, 10}});
    expectValues<VideoDataType>({{VIDEO_DOUBLE, 0}, {VIDEO_SINGLE, 1}, {VIDEO_INT8, 2}, {VIDEO_UINT8, 3},
                                 {VIDEO_INT16, 4}, {VIDEO_UINT16, 5}, {VIDEO_INT32, 6}, {VIDEO_UINT32, 7},
                                 {VIDEO_LOGICAL, 8}});
    expectValues<FourCCType>({{FOURCC_UNKNOWN, 0}, {FOURCC_RGB, 1}, {FOURCC_GREY, 2}, {FOURCC_YUY2, 3}});
    expectValues<ScaledDoubleFunctionIndex>({{SCALED_NONE, 0}, {SCALED_UINT8, 1}, {SCALED_UINT16, 2},
                                             {SCALED_UINT32, 3}, {SCALED_INT8, 4}, {SCALED_INT16, 5},
                                             {SCALED_INT32, 6}});
}

TEST(MediaTypes, SizeTablesMatchTheElementTypes) {
    static_assert(std::extent<decltype(audioDataTypeSize)>::value == 11, "eleven audio types");
    static_assert(std::extent<decltype(videoDataTypeSize)>::value == 9, "nine video types");
    const int32_t audio[11] = {sizeof(double), sizeof(float), sizeof(int8_t),  sizeof(uint8_t),
                               sizeof(int16_t), sizeof(uint16_t), sizeof(int32_t), sizeof(uint32_t),
                               sizeof(bool),   3,                 3};
    for (int32_t type = AUDIO_DOUBLE; type <= AUDIO_UINT24; ++type) {
        EXPECT_EQ(audioDataTypeSize[type], audio[type]) << "audio type " << type;
    }
    // Same order, and so the same widths, up to LOGICAL.
    for (int32_t type = VIDEO_DOUBLE; type <= VIDEO_LOGICAL; ++type) {
        EXPECT_EQ(videoDataTypeSize[type], audio[type]) << "video type " << type;
    }
}

// Each text sits in an allocation of exactly four bytes, so a read past the
// fourth byte shows under the address sanitizer.
FourCCType fourccOf(const char (&text)[5]) {
    std::unique_ptr<char[]> bytes(new char[4]);
    std::memcpy(bytes.get(), text, 4);
    return getFourccEnum(bytes.get());
}

TEST(MediaTypes, FourccComparesExactlyFourBytesCaseSensitive) {
    const std::vector<std::pair<const char(&)[5], FourCCType>> cases = {
        {"RGB ", FOURCC_RGB},      {"GREY", FOURCC_GREY},     {"YUY2", FOURCC_YUY2},
        {"rgb ", FOURCC_UNKNOWN},  {"grey", FOURCC_UNKNOWN},  {"yuy2", FOURCC_UNKNOWN},
        {"Grey", FOURCC_UNKNOWN},  {"RGB\0", FOURCC_UNKNOWN}, {"RGBX", FOURCC_UNKNOWN},
        {" RGB", FOURCC_UNKNOWN},  {"GRE\0", FOURCC_UNKNOWN}, {"YUY\0", FOURCC_UNKNOWN},
        {"YUYV", FOURCC_UNKNOWN},  {"Y800", FOURCC_UNKNOWN},  {"DIB ", FOURCC_UNKNOWN},
        {"\0\0\0\0", FOURCC_UNKNOWN}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(fourccOf(text), expected) << std::string(text, 4);
    }
}

TEST(MediaTypes, FourccIgnoresBytesAfterTheFourth) {
    EXPECT_EQ(getFourccEnum("GREYSCALE"), FOURCC_GREY);
    EXPECT_EQ(getFourccEnum("RGB 24"), FOURCC_RGB);
    EXPECT_EQ(getFourccEnum("YUY2\xff"), FOURCC_YUY2);
    EXPECT_EQ(getFourccEnum("RGB"), FOURCC_UNKNOWN); // the terminator is the fourth byte
}

TEST(MediaTypes, AudioDataTypeByDepthAndFloatFlag) {
    const std::map<std::pair<int, bool>, AudioDataType> known = {
        {{64, true}, AUDIO_DOUBLE}, {{32, true}, AUDIO_SINGLE}, {{8, false}, AUDIO_UINT8},
        {{16, false}, AUDIO_INT16}, {{24, false}, AUDIO_INT24}, {{32, false}, AUDIO_INT32}};
    std::vector<int> depths = {INT_MIN, INT_MIN + 1, -32, -24, -16, -8, INT_MAX - 1, INT_MAX, 128, 256};
    for (int depth = -1; depth <= 72; ++depth) {
        depths.push_back(depth);
    }
    for (bool isFloat : {false, true}) {
        for (int depth : depths) {
            const auto it = known.find({depth, isFloat});
            EXPECT_EQ(getAudioDataType(depth, isFloat), it == known.end() ? AUDIO_LOGICAL : it->second)
                << depth << " bits, float " << isFloat;
        }
    }
}

TEST(FrameGeometry, RgbLinesArePaddedToWholeWords) {
    // width, pad, line bytes
    const int32_t rows[][3] = {{0, 0, 0},   {1, 1, 4},   {2, 2, 8},   {3, 3, 12},  {4, 0, 12},
                               {5, 1, 16},  {6, 2, 20},  {7, 3, 24},  {8, 0, 24},  {641, 1, 1924}};
    for (const auto& row : rows) {
        EXPECT_EQ(rgbRowPadBytes(row[0]), row[1]) << "width " << row[0];
        EXPECT_EQ(rgbRowBytes(row[0]), row[2]) << "width " << row[0];
    }
    EXPECT_EQ(rgbFrameBytes(1, 2), 8);
    EXPECT_EQ(rgbFrameBytes(5, 3), 48);
    EXPECT_EQ(rgbFrameBytes(40000, 30000), int64_t(30000) * 120000); // past 32 bits
}

TEST(FrameGeometry, RgbPixelsLieBottomUpAndSkipOnlyThePad) {
    EXPECT_EQ(rgbPixelOffset(0, 0, 5, 3), 32); // the top line is the last in memory
    EXPECT_EQ(rgbPixelOffset(0, 2, 5, 3), 0);
    EXPECT_EQ(rgbPixelOffset(1, 1, 5, 3), 19);
    EXPECT_EQ(rgbPixelOffset(4, 2, 5, 3), 12);
    EXPECT_EQ(rgbPixelOffset(0, 0, 40000, 30000), int64_t(29999) * 120000);
    // Every pixel's three bytes, plus the pad at each line's end, cover the frame once.
    for (int32_t width = 1; width <= 9; ++width) {
        for (int32_t height = 1; height <= 3; ++height) {
            std::vector<int> use(rgbFrameBytes(width, height), 0);
            for (int32_t y = 0; y < height; ++y) {
                for (int32_t x = 0; x < width; ++x) {
                    for (int64_t b = 0; b < 3; ++b) {
                        ++use.at(rgbPixelOffset(x, y, width, height) + b);
                    }
                }
                for (int32_t p = 1; p <= rgbRowPadBytes(width); ++p) {
                    ++use.at(int64_t(height - y) * rgbRowBytes(width) - p);
                }
            }
            EXPECT_EQ(use, std::vector<int>(use.size(), 1)) << width << "x" << height;
        }
    }
}

TEST(FrameGeometry, PackedFrameBytesByFormat) {
    EXPECT_EQ(yuy2FrameBytes(3, 2), 12);
    EXPECT_EQ(packedFrameBytes(FOURCC_RGB, 5, 2), 32);
    EXPECT_EQ(packedFrameBytes(FOURCC_YUY2, 5, 2), 20);
    EXPECT_EQ(packedFrameBytes(FOURCC_GREY, 5, 2), 10);
    EXPECT_EQ(packedFrameBytes(FOURCC_UNKNOWN, 5, 2), 10);
    EXPECT_EQ(packedFrameBytes(FOURCC_YUY2, 50000, 30000), int64_t(3000000000));
}

TEST(FrameGeometry, PlaneIndexesInRowAndColumnOrder) {
    EXPECT_EQ(planeIndexRowOrder(1, 2, 4), 9);
    EXPECT_EQ(planeIndexColumnOrder(1, 2, 3), 5);
    const int32_t width = 4, height = 3;
    std::vector<int> rowUse(width * height, 0), columnUse(width * height, 0);
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            ++rowUse.at(planeIndexRowOrder(x, y, width));
            ++columnUse.at(planeIndexColumnOrder(x, y, height));
            EXPECT_EQ(planeIndexColumnOrder(x, y, height), planeIndexRowOrder(y, x, height)); // the transpose
        }
    }
    EXPECT_EQ(rowUse, std::vector<int>(rowUse.size(), 1));
    EXPECT_EQ(columnUse, std::vector<int>(columnUse.size(), 1));
    EXPECT_EQ(planeIndexColumnOrder(49999, 29999, 30000), int64_t(49999) * 30000 + 29999);
}

TEST(FrameGeometry, PlaneFrameBytesCountPlanesAndElementWidth) {
    EXPECT_EQ(planeCount(FOURCC_GREY), 1);
    EXPECT_EQ(planeCount(FOURCC_RGB), 3);
    EXPECT_EQ(planeCount(FOURCC_YUY2), 3);
    EXPECT_EQ(planeCount(FOURCC_UNKNOWN), 3);
    EXPECT_EQ(planeFrameBytes(FOURCC_GREY, VIDEO_DOUBLE, 4, 3), 96);
    EXPECT_EQ(planeFrameBytes(FOURCC_RGB, VIDEO_UINT8, 4, 3), 36);
    EXPECT_EQ(planeFrameBytes(FOURCC_YUY2, VIDEO_INT16, 4, 3), 72);
    EXPECT_EQ(planeFrameBytes(FOURCC_RGB, VIDEO_LOGICAL, 4, 3), 36);
    EXPECT_EQ(planeFrameBytes(FOURCC_RGB, VIDEO_DOUBLE, 20000, 20000), int64_t(9600000000));
}

TEST(FrameGeometry, AudioSampleIndexesByLayout) {
    EXPECT_EQ(interleavedSampleIndex(0, 0, 3), 0);
    EXPECT_EQ(interleavedSampleIndex(2, 1, 3), 7);
    EXPECT_EQ(planarSampleIndex(2, 1, 10), 12);
    EXPECT_EQ(planarSampleIndex(0, 2, 10), 20);
    EXPECT_EQ(planarSampleIndex(5, 7, int64_t(1) << 31), 5 + 7 * (int64_t(1) << 31));
}

} // namespace
