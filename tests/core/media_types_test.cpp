#include <gtest/gtest.h>
#include <climits>
#include <cstring>
#include <map>
#include <memory>
#include <type_traits>
#include <korva/korva.h>

TEST(MediaTypes, SizeTablesFollowTheEnumerators) { // the enumerators count from 0 in their order of declaration
    static_assert(std::extent_v<decltype(audioDataTypeSize)> == 11 && std::extent_v<decltype(videoDataTypeSize)> == 9);
    const int32_t sizes[] = {8, 4, 1, 1, 2, 2, 4, 4, sizeof(bool), 3, 3};
    const int audio[] = {AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_INT8,   AUDIO_UINT8,   AUDIO_INT16, AUDIO_UINT16,
                         AUDIO_INT32,  AUDIO_UINT32, AUDIO_LOGICAL, AUDIO_INT24, AUDIO_UINT24};
    const int video[] = {VIDEO_DOUBLE, VIDEO_SINGLE, VIDEO_INT8,   VIDEO_UINT8,  VIDEO_INT16,
                         VIDEO_UINT16, VIDEO_INT32,  VIDEO_UINT32, VIDEO_LOGICAL};
    for (int i = 0; i < 11; ++i) EXPECT_TRUE(audio[i] == i && audioDataTypeSize[i] == sizes[i]) << i;
    for (int i = 0; i < 9; ++i) EXPECT_TRUE(video[i] == i && videoDataTypeSize[i] == sizes[i]) << i;
    EXPECT_TRUE(FOURCC_UNKNOWN == 0 && FOURCC_YUY2 == 3 && SCALED_NONE == 0 && SCALED_INT32 == 6);
}

TEST(MediaTypes, FourccOfFourBytesAndAudioTypeByDepth) {
    const std::pair<const char*, FourCCType> cases[] = {
        {"RGB ", FOURCC_RGB}, {"GREY", FOURCC_GREY}, {"YUY2", FOURCC_YUY2}, {"rgb ", FOURCC_UNKNOWN},
        {"Grey", FOURCC_UNKNOWN}, {"RGB\0", FOURCC_UNKNOWN}, {"GRE\0", FOURCC_UNKNOWN}, {"YUYV", FOURCC_UNKNOWN}};
    for (const auto& [text, expected] : cases) { // exactly four bytes each: an over-read shows under the sanitizer
        const std::unique_ptr<char[]> bytes(static_cast<char*>(std::memcpy(new char[4], text, 4)));
        EXPECT_EQ(getFourccEnum(bytes.get()), expected) << text;
    }
    EXPECT_EQ(getFourccEnum("GREYSCALE"), FOURCC_GREY);
    const std::map<std::pair<int, bool>, AudioDataType> known = {
        {{64, true}, AUDIO_DOUBLE}, {{32, true}, AUDIO_SINGLE}, {{8, false}, AUDIO_UINT8}, {{16, false}, AUDIO_INT16},
        {{24, false}, AUDIO_INT24}, {{32, false}, AUDIO_INT32}};
    for (bool fp : {false, true})
        for (int depth : {INT_MIN, -8, -1, 0, 1, 7, 8, 9, 12, 16, 24, 32, 48, 64, 128, INT_MAX}) {
            const auto it = known.find({depth, fp});
            EXPECT_EQ(getAudioDataType(depth, fp), it == known.end() ? AUDIO_LOGICAL : it->second) << depth << fp;
        }
}

TEST(FrameGeometry, WorkedFigures) {
    const int64_t big = int64_t(1) << 31; // the large figures pass 32 bits
    const std::pair<int64_t, int64_t> figures[] = {
        {rgbRowPadBytes(1), 1}, {rgbRowPadBytes(4), 0}, {rgbRowBytes(2), 8}, {rgbRowBytes(641), 1924},
        {rgbFrameBytes(40000, 30000), int64_t(30000) * 120000}, {rgbPixelOffset(0, 0, 5, 3), 32}, // top line last
        {rgbPixelOffset(1, 1, 5, 3), 19}, {rgbPixelOffset(0, 0, 40000, 30000), int64_t(29999) * 120000},
        {packedFrameBytes(FOURCC_RGB, 5, 2), 32}, {packedFrameBytes(FOURCC_UNKNOWN, 5, 2), 10},
        {packedFrameBytes(FOURCC_YUY2, 50000, 30000), 3000000000}, {planeIndexRowOrder(1, 2, 4), 9},
        {planeIndexColumnOrder(49999, 29999, 30000), int64_t(49999) * 30000 + 29999}, {planeCount(FOURCC_UNKNOWN), 3},
        {planeFrameBytes(FOURCC_GREY, VIDEO_DOUBLE, 4, 3), 96}, {planeFrameBytes(FOURCC_YUY2, VIDEO_INT16, 4, 3), 72},
        {planeFrameBytes(FOURCC_RGB, VIDEO_DOUBLE, 20000, 20000), 9600000000}, {interleavedSampleIndex(2, 1, 3), 7},
        {planarSampleIndex(5, 7, big), 5 + 7 * big}};
    for (const auto& figure : figures) EXPECT_EQ(figure.first, figure.second) << "figure " << &figure - figures;
}
