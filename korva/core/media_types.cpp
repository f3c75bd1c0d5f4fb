#include <korva/core/media_types.h>

#include <cstring>

const int32_t audioDataTypeSize[11] = {8, 4, 1, 1, 2, 2, 4, 4, 1, 3, 3};
const int32_t videoDataTypeSize[9] = {8, 4, 1, 1, 2, 2, 4, 4, 1};

FourCCType getFourccEnum(const char* fourcc) {
    // memcmp rather than a string compare: the text need not end, and a
    // terminator inside the four bytes is simply a mismatch.
    if (std::memcmp(fourcc, "RGB ", 4) == 0) {
        return FOURCC_RGB;
    }
    if (std::memcmp(fourcc, "GREY", 4) == 0) {
        return FOURCC_GREY;
    }
    if (std::memcmp(fourcc, "YUY2", 4) == 0) {
        return FOURCC_YUY2;
    }
    return FOURCC_UNKNOWN;
}

namespace {

const int MIN_INTEGER_DEPTH = 8;
const int MAX_INTEGER_DEPTH = 32;

// Integer depths 8 to 32; the gaps hold AUDIO_LOGICAL.
const AudioDataType INTEGER_TYPE_BY_DEPTH[MAX_INTEGER_DEPTH - MIN_INTEGER_DEPTH + 1] = {
    AUDIO_UINT8,   AUDIO_LOGICAL, AUDIO_LOGICAL, AUDIO_LOGICAL, AUDIO_LOGICAL, AUDIO_LOGICAL, AUDIO_LOGICAL,
    AUDIO_LOGICAL, AUDIO_INT16,   AUDIO_LOGICAL, AUDIO_LOGICAL, AUDIO_LOGICAL, AUDIO_LOGICAL, AUDIO_LOGICAL,
    AUDIO_LOGICAL, AUDIO_LOGICAL, AUDIO_INT24,   AUDIO_LOGICAL, AUDIO_LOGICAL, AUDIO_LOGICAL, AUDIO_LOGICAL,
    AUDIO_LOGICAL, AUDIO_LOGICAL, AUDIO_LOGICAL, AUDIO_INT32};

} // namespace

AudioDataType getAudioDataType(int bitsPerSample, bool isFloat) {
    if (isFloat) {
        return bitsPerSample == 64 ? AUDIO_DOUBLE : bitsPerSample == 32 ? AUDIO_SINGLE : AUDIO_LOGICAL;
    }
    if (bitsPerSample < MIN_INTEGER_DEPTH || bitsPerSample > MAX_INTEGER_DEPTH) {
        return AUDIO_LOGICAL;
    }
    return INTEGER_TYPE_BY_DEPTH[bitsPerSample - MIN_INTEGER_DEPTH];
}
