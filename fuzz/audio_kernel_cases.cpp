// Audio half of the kernel fuzz target: the convert copy, transpose, channel
// map and empty selectors over all eleven sample types (and values outside
// them), and the scaled double conversions, on random counts, strides, maps
// and contents.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include <korva/audio/scaled.h>
#include <korva/audio/selectors.h>
#include <korva/core/media_types.h>

#include "fuzz_check.h"
#include "kernel_cases.h"

namespace {

enum class Walk { ConvertCopy, ToPlanar, ToInterleaved, MapToPlanar, MapToInterleaved, Empty };

// Mostly the eleven types, kernels or not; now and then a value outside.
AudioDataType chooseType(FuzzBytes& in) {
    static const int32_t outside[] = {11, -1, 255, INT32_MIN};
    const uint8_t b = in.byte();
    return AudioDataType(b < 0xF0 ? b % 11 : outside[b % 4]);
}

bool hasKernels(AudioDataType t) {
    return t == AUDIO_DOUBLE || t == AUDIO_SINGLE || t == AUDIO_INT32 || t == AUDIO_INT24 || t == AUDIO_INT16 ||
           t == AUDIO_UINT8;
}

// A count from -2 up, mostly small; counts below 1 must touch nothing.
int chooseCount(FuzzBytes& in) {
    static const uint32_t bounds[] = {4, 9, 70, 600};
    return int(in.below(in.pick(bounds) + 3)) - 2;
}

// Elements from 0 to last, or none when last is negative.
size_t upTo(int64_t last) { return last < 0 ? 0 : size_t(last + 1); }

template <typename Selector> bool select(Selector&& selector) {
    try {
        selector();
        return true;
    } catch (const char* message) {
        fuzzCheck(std::strcmp(message, "Unsupported Datatype conversion in GetConvertIndex") == 0,
                  "an unsupported type throws the selectors' one text");
        return false;
    }
}

void runWalk(FuzzBytes& in) {
    const Walk walk = Walk(in.below(6));
    const AudioDataType from = chooseType(in), to = walk == Walk::Empty ? from : chooseType(in);
    const bool toPlanar = walk == Walk::ToPlanar || walk == Walk::MapToPlanar;
    MMAudioConvertCopyFcn copy = nullptr;
    MMAudioTransposeCopyFcn transpose = nullptr;
    MMAudioConvertCopyWithMapFcn map = nullptr;
    MMAudioEmptyFcn empty = nullptr;
    const bool selected = select([&] {
        switch (walk) {
        case Walk::ConvertCopy: copy = MM_GetAudioConvertCopyFcn(from, to); break;
        case Walk::ToPlanar:
        case Walk::ToInterleaved: transpose = MM_GetAudioTransposeCopyFcn(from, to, toPlanar); break;
        case Walk::MapToPlanar:
        case Walk::MapToInterleaved: map = MM_GetAudioConvertCopyWithMapFcn(from, to, toPlanar); break;
        case Walk::Empty: empty = MM_GetAudioEmptyFcn(from); break;
        }
    });
    fuzzCheck(selected == (hasKernels(from) && hasKernels(to)), "a selector refuses exactly the types without kernels");
    if (!selected) return;
    fuzzCheck(copy || transpose || map || empty, "no audio selector gives null");

    // int24 to int24 is the int32 copy in every family: four bytes a sample.
    const bool wide24 = from == AUDIO_INT24 && to == AUDIO_INT24;
    const size_t inSize = wide24 ? 4 : size_t(audioDataTypeSize[from]);
    const size_t outSize = wide24 ? 4 : size_t(audioDataTypeSize[to]);

    const int samples = chooseCount(in), channels = chooseCount(in);
    // From 0 (every channel on the first) to a few elements of gap.
    const int stride = int(in.below(uint32_t(std::max(samples, 0)) + 4));
    if (walk == Walk::ConvertCopy) {
        // The product of two negative counts is positive, and copies.
        const int32_t product = int32_t(uint32_t(samples) * uint32_t(channels));
        const size_t elements = size_t(std::max(product, 0));
        ExactBuffer source(elements * inSize, in), out(elements * outSize, in);
        copy(source.data(), out.data(), samples, channels);
        return;
    }
    const bool some = samples >= 1 && channels >= 1;
    if (walk == Walk::ToPlanar || walk == Walk::ToInterleaved) {
        const size_t interleaved = some ? size_t(samples) * channels : 0;
        const size_t planar = some ? upTo(int64_t(samples - 1) + int64_t(channels - 1) * stride) : 0;
        ExactBuffer source((toPlanar ? interleaved : planar) * inSize, in);
        ExactBuffer out((toPlanar ? planar : interleaved) * outSize, in);
        transpose(source.data(), out.data(), samples, channels, stride);
        return;
    }
    if (walk == Walk::Empty) {
        // The int24 kernel moves on by stride x channels bytes a channel.
        size_t bytes = 0;
        if (some && from == AUDIO_INT24)
            bytes = size_t(int64_t(channels - 1) * stride * channels) + 3 * size_t(samples);
        else if (some)
            bytes = (size_t(int64_t(channels - 1) * stride) + size_t(samples)) * outSize;
        ExactBuffer out(bytes, in);
        empty(nullptr, out.data(), samples, channels, stride);
        return;
    }
    // Channel maps: positions inside an interleaved frame of frameStride.
    const int frames = samples, mapLength = channels;
    const int frameStride = int(in.below(10));
    // Exactly mapLength entries, so that a read past the map shows too.
    std::vector<int> positions(size_t(std::max(mapLength, 0)));
    for (int& p : positions) p = int(in.below(uint32_t(frameStride) + 2));
    const bool mapped = frames >= 1 && mapLength >= 1;
    const int highest = mapped ? *std::max_element(positions.begin(), positions.end()) : 0;
    const size_t interleaved = mapped ? upTo(int64_t(highest) + int64_t(frames - 1) * frameStride) : 0;
    const size_t planar = mapped ? upTo(int64_t(frames - 1) + int64_t(mapLength - 1) * stride) : 0;
    ExactBuffer source((toPlanar ? interleaved : planar) * inSize, in);
    ExactBuffer out((toPlanar ? planar : interleaved) * outSize, in);
    // The fifth and sixth arguments swap between the two directions.
    if (toPlanar)
        map(source.data(), out.data(), stride, frames, frameStride, mapLength, positions.data());
    else
        map(source.data(), out.data(), stride, frames, mapLength, frameStride, positions.data());
}

// Words of the scaled double indexes 1 to 6; 0 and 7 select nothing.
void runScaled(FuzzBytes& in) {
    static const size_t wordBytes[] = {0, 1, 2, 4, 1, 2, 4, 0};
    const auto index = ScaledDoubleFunctionIndex(in.below(8));
    const bool toDouble = in.flag(), inPlace = in.flag();
    const MMFixToDoubleFcn fixToDouble = toDouble ? MM_GetFixToDoubleFcn(index) : nullptr;
    const MMDoubleToFixFcn doubleToFix = toDouble ? nullptr : MM_GetDoubleToFixFcn(index);
    const bool hasKernel = index >= SCALED_UINT8 && index <= SCALED_INT32;
    fuzzCheck((fixToDouble || doubleToFix) == hasKernel, "scaled conversions have kernels for indexes 1 to 6");
    if (!hasKernel) return;
    const int count = chooseCount(in);
    const size_t n = size_t(std::max(count, 0));
    // In place, the words share the doubles' buffer from its start.
    ExactBuffer doubles(n * 8, in), words(inPlace ? 0 : n * wordBytes[index], in);
    uint8_t* word = inPlace ? doubles.data() : words.data();
    if (toDouble)
        fixToDouble(reinterpret_cast<double*>(doubles.data()), word, count);
    else
        doubleToFix(reinterpret_cast<const double*>(doubles.data()), word, count);
}

} // namespace

void fuzzAudioKernel(FuzzBytes& in) {
    if (in.below(6) == 0)
        runScaled(in);
    else
        runWalk(in);
}
