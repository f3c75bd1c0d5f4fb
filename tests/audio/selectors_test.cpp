#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>

#include <korva/korva.h>

namespace {

// Positions by enumeration value, -1 for none; values just outside the enumeration are tried too.
const int POSITION[11] = {0, 1, -1, 5, 4, -1, 2, -1, -1, 3, -1};
int positionOf(int type) { return type >= 0 && type <= 10 ? POSITION[type] : -1; }

// Whether a selector throws the one text of the subsystem; one that returns a pointer must return a kernel.
template <typename Select> bool throwsUnsupported(Select select) {
    try {
        const auto answer = select();
        if constexpr (std::is_pointer_v<decltype(answer)>) {
            EXPECT_NE(answer, nullptr);
        }
    } catch (const char* text) {
        return std::strcmp(text, "Unsupported Datatype conversion in GetConvertIndex") == 0;
    }
    return false;
}

} // namespace

// A type without kernels fails every selector alike, whichever argument it is and whatever the flag.
TEST(AudioSelectors, IndexByPositionAndRefuseTypesWithoutKernels) {
    for (int from = -1; from <= 11; ++from) {
        for (int to = -1; to <= 11; ++to) {
            SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
            const auto s = AudioDataType(from), d = AudioDataType(to);
            const bool refused = positionOf(from) < 0 || positionOf(to) < 0;
            EXPECT_TRUE(refused || GetConvertIndex(s, d) == positionOf(from) * 6 + positionOf(to));
            EXPECT_EQ(throwsUnsupported([&] { return GetConvertIndex(s, d); }), refused);
            EXPECT_EQ(throwsUnsupported([&] { return MM_GetAudioConvertCopyFcn(s, d); }), refused);
            for (bool flag : {true, false}) {
                EXPECT_EQ(throwsUnsupported([&] { return MM_GetAudioTransposeCopyFcn(s, d, flag); }), refused);
                EXPECT_EQ(throwsUnsupported([&] { return MM_GetAudioConvertCopyWithMapFcn(s, d, flag); }), refused);
            }
        }
        EXPECT_EQ(throwsUnsupported([&] { return MM_GetAudioEmptyFcn(AudioDataType(from)); }), positionOf(from) < 0);
    }
    EXPECT_EQ(GetConvertIndex(AUDIO_INT16, AUDIO_UINT8), 29);
    EXPECT_EQ(GetConvertIndex(AUDIO_UINT8, AUDIO_UINT8), 35);
    // The int24 pair of every family is the int32 pair's kernel, which moves four-byte elements.
    const AudioDataType i24 = AUDIO_INT24, i32 = AUDIO_INT32;
    EXPECT_EQ(MM_GetAudioConvertCopyFcn(i24, i24), MM_GetAudioConvertCopyFcn(i32, i32));
    for (bool flag : {true, false}) {
        EXPECT_EQ(MM_GetAudioTransposeCopyFcn(i24, i24, flag), MM_GetAudioTransposeCopyFcn(i32, i32, flag));
        EXPECT_EQ(MM_GetAudioConvertCopyWithMapFcn(i24, i24, flag), MM_GetAudioConvertCopyWithMapFcn(i32, i32, flag));
    }
}
