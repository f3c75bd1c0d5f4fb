// AudioTransposeCopyToPlanar and AudioTransposeCopyToInterleaved: every
// channel in order, between the interleaved frames of files and devices and
// the planar channels of callers. stride is always the planar side's.
//
// The plain walk takes one channel after the other across all samples, which
// reads (or writes) the interleaved side once per channel. The walks below take
// the interleaved side in tiles that stay in the first-level cache while each
// channel of the tile goes through, and stereo in a single pass. Each place is
// still written once with the same value, so the bytes are those of the plain
// walk; where planar channels overlap (stride below samples) the order of
// writes decides the bytes, and the plain walk is kept.

#include <korva/audio/kernel_tables.h>
#include <korva/audio/stereo_runs.h>

#include <algorithm>

namespace audio {
namespace {

constexpr int TILE_BYTES = 8192;
constexpr int MIN_TILE_FRAMES = 16;

// Frames of one tile: the interleaved frames of both sides' widths fit in TILE_BYTES.
template <typename S, typename D> int tileFrames(int channels) {
    const int64_t frameBytes = int64_t(channels) * int64_t(std::max(sizeof(S), sizeof(D)));
    return int(std::max<int64_t>(MIN_TILE_FRAMES, TILE_BYTES / frameBytes));
}

// Hands moveTile(first, count, channel) every channel of one tile of frames
// after the other, tile by tile, so that a tile's interleaved frames stay in
// cache while all its channels pass.
template <typename S, typename D, typename MoveTile> void inTiles(int samples, int channels, MoveTile moveTile) {
    const int tile = tileFrames<S, D>(channels);
    for (int64_t first = 0; first < samples; first += tile) {
        const int count = int(std::min<int64_t>(tile, samples - first));
        for (int c = 0; c < channels; ++c) {
            moveTile(first, count, c);
        }
    }
}

// One channel out of interleaved frames of `step` samples.
template <typename S, typename D>
inline void gatherChannel(const S* __restrict in, int step, D* __restrict out, int count) {
    for (int i = 0; i < count; ++i) {
        out[i] = SampleRule<S, D>::convert(in[int64_t(i) * step]);
    }
}

// One channel into interleaved frames of `step` samples.
template <typename S, typename D>
inline void scatterChannel(const S* __restrict in, D* __restrict out, int step, int count) {
    for (int i = 0; i < count; ++i) {
        out[int64_t(i) * step] = SampleRule<S, D>::convert(in[i]);
    }
}

template <typename S, typename D>
inline void splitStereo(const S* __restrict in, D* __restrict left, D* __restrict right, int count) {
    for (int i = 0; i < count; ++i) {
        left[i] = SampleRule<S, D>::convert(in[2 * int64_t(i)]);
        right[i] = SampleRule<S, D>::convert(in[2 * int64_t(i) + 1]);
    }
}

// The two channels may overlap: they are only read.
template <typename S, typename D>
inline void joinStereo(const S* __restrict left, const S* __restrict right, D* __restrict out, int count) {
    for (int i = 0; i < count; ++i) {
        out[2 * int64_t(i)] = SampleRule<S, D>::convert(left[i]);
        out[2 * int64_t(i) + 1] = SampleRule<S, D>::convert(right[i]);
    }
}

// The busiest pair, int16 frames to and from single channels, has vector runs.
template <>
inline void splitStereo(const int16_t* __restrict in, float* __restrict left, float* __restrict right, int count) {
    stereo::splitInt16ToSingle(in, left, right, count);
}

template <>
inline void joinStereo(const float* __restrict left, const float* __restrict right, int16_t* __restrict out,
                       int count) {
    stereo::joinSingleToInt16(left, right, out, count);
}

template <typename S, typename D>
void AudioTransposeCopyToPlanar(const void* in, void* out, int samples, int channels, int stride) {
    const S* src = static_cast<const S*>(in);
    D* dst = static_cast<D*>(out);
    if (samples < 1 || channels < 1) {
        return;
    }
    if (channels == 1) {
        convertRun(src, dst, samples);
    } else if (stride < samples) { // overlapping channels: the last one written wins, as in the plain walk
        for (int c = 0; c < channels; ++c) {
            gatherChannel(src + c, channels, dst + int64_t(c) * stride, samples);
        }
    } else if (channels == 2) {
        splitStereo(src, dst, dst + stride, samples);
    } else {
        inTiles<S, D>(samples, channels, [=](int64_t first, int count, int c) {
            gatherChannel(src + first * channels + c, channels, dst + int64_t(c) * stride + first, count);
        });
    }
}

// Every interleaved place is written once whatever the stride, so any order
// of the walk gives the same bytes.
template <typename S, typename D>
void AudioTransposeCopyToInterleaved(const void* in, void* out, int samples, int channels, int stride) {
    const S* src = static_cast<const S*>(in);
    D* dst = static_cast<D*>(out);
    if (samples < 1 || channels < 1) {
        return;
    }
    if (channels == 1) {
        convertRun(src, dst, samples);
    } else if (channels == 2) {
        joinStereo(src, src + stride, dst, samples);
    } else {
        inTiles<S, D>(samples, channels, [=](int64_t first, int count, int c) {
            scatterChannel(src + int64_t(c) * stride + first, dst + first * channels + c, channels, count);
        });
    }
}

} // namespace

const PairTable<MMAudioTransposeCopyFcn> audioTransposeCopyToPlanarKernels = kernelTable<MMAudioTransposeCopyFcn>(
    [](auto entry) { return &AudioTransposeCopyToPlanar<SourceOf<entry>, DestinationOf<entry>>; });
const PairTable<MMAudioTransposeCopyFcn> audioTransposeCopyToInterleavedKernels = kernelTable<MMAudioTransposeCopyFcn>(
    [](auto entry) { return &AudioTransposeCopyToInterleaved<SourceOf<entry>, DestinationOf<entry>>; });

} // namespace audio
