// AudioConvertCopyWithMapToPlanar and AudioConvertCopyWithMapToInterleaved:
// channels picked and placed through a map of positions inside an interleaved
// frame. The map need not be a permutation: it may repeat or skip channels,
// and it is not range-tested. Frames are the outer loop in both directions.
//
// The two forms take frameStride and mapLength in swapped places, as callers
// have always passed them.

#include <korva/audio/kernel_tables.h>

namespace audio {
namespace {

// Output channel k, at k x planeStride, is filled from source channel map[k].
template <typename S, typename D>
inline void mapToPlanar(const S* __restrict in, D* __restrict out, int planeStride, int frames, int frameStride,
                        int mapLength, const int* __restrict map) {
    for (int f = 0; f < frames; ++f) {
        const S* frame = in + int64_t(f) * frameStride;
        for (int k = 0; k < mapLength; ++k) {
            out[f + int64_t(k) * planeStride] = SampleRule<S, D>::convert(frame[map[k]]);
        }
    }
}

// Source channel k goes to place map[k] of each output frame; other places are
// not touched. When the map repeats a place, the later entry's sample stays.
template <typename S, typename D>
inline void mapToInterleaved(const S* __restrict in, D* __restrict out, int planeStride, int frames, int mapLength,
                             int frameStride, const int* __restrict map) {
    for (int f = 0; f < frames; ++f) {
        const uint32_t frameStart = uint32_t(f) * uint32_t(frameStride);
        for (int k = 0; k < mapLength; ++k) {
            // The place is formed in 32 bits, wrapping, then widened with its sign.
            const int32_t place = int32_t(uint32_t(map[k]) + frameStart);
            out[place] = SampleRule<S, D>::convert(in[f + int64_t(k) * planeStride]);
        }
    }
}

template <typename S, typename D>
void AudioConvertCopyWithMapToPlanar(const void* in, void* out, int planeStride, int frames, int frameStride,
                                     int mapLength, const int* map) {
    mapToPlanar(static_cast<const S*>(in), static_cast<D*>(out), planeStride, frames, frameStride, mapLength, map);
}

template <typename S, typename D>
void AudioConvertCopyWithMapToInterleaved(const void* in, void* out, int planeStride, int frames, int mapLength,
                                          int frameStride, const int* map) {
    mapToInterleaved(static_cast<const S*>(in), static_cast<D*>(out), planeStride, frames, mapLength, frameStride, map);
}

} // namespace

const PairTable<MMAudioConvertCopyWithMapFcn> audioConvertCopyWithMapToPlanarKernels =
    kernelTable<MMAudioConvertCopyWithMapFcn>(
        [](auto entry) { return &AudioConvertCopyWithMapToPlanar<SourceOf<entry>, DestinationOf<entry>>; });
const PairTable<MMAudioConvertCopyWithMapFcn> audioConvertCopyWithMapToInterleavedKernels =
    kernelTable<MMAudioConvertCopyWithMapFcn>(
        [](auto entry) { return &AudioConvertCopyWithMapToInterleaved<SourceOf<entry>, DestinationOf<entry>>; });

} // namespace audio
