// Stereo int16 frames to single-precision channels and back, as a capture or
// playback path does once a frame: AudioTransposeCopyToPlanar (int16 to
// single) and AudioTransposeCopyToInterleaved (single to int16), side by side
// with FFmpeg's libswresample converting the same samples (s16 to fltp and
// back, same rate and layout, so it converts without resampling).
//
// Each run is timed at three sizes: a typical device buffer, one second at
// 48 kHz, and a run too large for the caches. Both sides read the same
// 64-byte aligned buffers. The ratios at the end are libswresample's time over
// ours: 1.0 or more means at least as fast.
//
// Usage: audio_bench [--benchmark_filter=...] [other Google Benchmark flags]

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

#include <korva/audio/selectors.h>

#include "ratio_reporter.h"

namespace {

const int CHANNELS = 2;
const int RATE = 48000;
const int SIZES[] = {1024, 48000, 1 << 21};

struct FreeAligned {
    void operator()(void* p) const { std::free(p); }
};
using Buffer = std::unique_ptr<uint8_t, FreeAligned>;

Buffer alignedBuffer(size_t bytes) {
    void* p = std::aligned_alloc(64, (bytes + 63) / 64 * 64);
    if (p == nullptr)
        throw std::bad_alloc();
    std::memset(p, 0, bytes); // touched once, so that no page fault lands in a measurement
    return Buffer(static_cast<uint8_t*>(p));
}

// The same samples in both layouts: interleaved int16 frames and two planes of
// singles, frames apart.
struct Samples {
    int frames;
    Buffer interleaved; // int16, CHANNELS a frame
    Buffer planar;      // float, one plane after the other
    explicit Samples(int frames)
        : frames(frames), interleaved(alignedBuffer(size_t(frames) * CHANNELS * 2)),
          planar(alignedBuffer(size_t(frames) * CHANNELS * 4)) {
        auto* s16 = reinterpret_cast<int16_t*>(interleaved.get());
        uint32_t state = 12345;
        for (int64_t i = 0; i < int64_t(frames) * CHANNELS; ++i) {
            state = state * 1664525u + 1013904223u;
            s16[i] = int16_t(state >> 16);
        }
        MM_GetAudioTransposeCopyFcn(AUDIO_INT16, AUDIO_SINGLE, true)(interleaved.get(), planar.get(), frames, CHANNELS,
                                                                     frames);
    }
    uint8_t* plane(int c) const { return planar.get() + size_t(c) * frames * 4; }
};

void setCounts(benchmark::State& state, int frames) {
    state.SetItemsProcessed(int64_t(state.iterations()) * frames * CHANNELS);
}

void korvaToPlanar(benchmark::State& state, int frames) {
    Samples s(frames);
    const MMAudioTransposeCopyFcn kernel = MM_GetAudioTransposeCopyFcn(AUDIO_INT16, AUDIO_SINGLE, true);
    for (auto _ : state) {
        kernel(s.interleaved.get(), s.planar.get(), frames, CHANNELS, frames);
        benchmark::ClobberMemory();
    }
    setCounts(state, frames);
}

void korvaToInterleaved(benchmark::State& state, int frames) {
    Samples s(frames);
    const MMAudioTransposeCopyFcn kernel = MM_GetAudioTransposeCopyFcn(AUDIO_SINGLE, AUDIO_INT16, false);
    for (auto _ : state) {
        kernel(s.planar.get(), s.interleaved.get(), frames, CHANNELS, frames);
        benchmark::ClobberMemory();
    }
    setCounts(state, frames);
}

// A context that converts between the two formats at one rate: no resampling.
SwrContext* converter(AVSampleFormat from, AVSampleFormat to) {
    AVChannelLayout stereo;
    av_channel_layout_default(&stereo, CHANNELS);
    SwrContext* context = nullptr;
    if (swr_alloc_set_opts2(&context, &stereo, to, RATE, &stereo, from, RATE, 0, nullptr) < 0 ||
        swr_init(context) < 0) {
        swr_free(&context);
        return nullptr;
    }
    return context;
}

void swrConvert(benchmark::State& state, int frames, bool toPlanar) {
    Samples s(frames);
    SwrContext* context =
        toPlanar ? converter(AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_FLTP) : converter(AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_S16);
    if (context == nullptr) {
        state.SkipWithError("libswresample refused the conversion");
        return;
    }
    uint8_t* planes[CHANNELS] = {s.plane(0), s.plane(1)};
    uint8_t* interleaved[1] = {s.interleaved.get()};
    uint8_t** out = toPlanar ? planes : interleaved;
    const uint8_t** in = const_cast<const uint8_t**>(toPlanar ? interleaved : planes);
    for (auto _ : state) {
        if (swr_convert(context, out, frames, in, frames) != frames) {
            state.SkipWithError("libswresample converted a different count");
            break;
        }
        benchmark::ClobberMemory();
    }
    swr_free(&context);
    setCounts(state, frames);
}

void swrToPlanar(benchmark::State& state, int frames) { swrConvert(state, frames, true); }
void swrToInterleaved(benchmark::State& state, int frames) { swrConvert(state, frames, false); }

std::string name(const char* what, int frames) { return std::string(what) + "/" + std::to_string(frames); }

} // namespace

int main(int argc, char** argv) {
    if (!korvabench::initialize(argc, argv))
        return 2;

    const struct {
        const char* name;
        void (*run)(benchmark::State&, int);
    } runs[] = {{"korva_s16_to_fltp", korvaToPlanar},
                {"swr_s16_to_fltp", swrToPlanar},
                {"korva_fltp_to_s16", korvaToInterleaved},
                {"swr_fltp_to_s16", swrToInterleaved}};
    for (int frames : SIZES) {
        for (const auto& r : runs) {
            benchmark::RegisterBenchmark(name(r.name, frames).c_str(), r.run, frames)
                ->UseRealTime()
                ->MinTime(0.3)
                ->Repetitions(9)
                ->DisplayAggregatesOnly(true);
        }
    }

    korvabench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nRatios (median real times; libswresample time / korva time, stereo frames a call):\n");
    for (int frames : SIZES) {
        for (const char* pair : {"s16_to_fltp", "fltp_to_s16"}) {
            const std::string what = std::string(pair) + ", " + std::to_string(frames) + " frames";
            korvabench::printRatio(what.c_str(),
                                   reporter.time(name((std::string("swr_") + pair).c_str(), frames)) /
                                       reporter.time(name((std::string("korva_") + pair).c_str(), frames)),
                                   1.0, true);
        }
    }
    return 0;
}
