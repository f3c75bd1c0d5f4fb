#ifndef KORVA_BENCH_SCALER_PEER_H
#define KORVA_BENCH_SCALER_PEER_H

// FFmpeg's scaler as the peer of the video kernels: one conversion of a
// picture of the same size, without scaling, timed in a benchmark loop.

#include <benchmark/benchmark.h>

extern "C" {
#include <libswscale/swscale.h>
}

namespace korvabench {

// Converts the picture at `source` into `target` once an iteration; the
// pointers and strides are per plane, as the scaler takes them.
inline void runScaler(benchmark::State& state, int width, int height, AVPixelFormat from,
                      const uint8_t* const* source, const int* sourceStride, AVPixelFormat to, uint8_t* const* target,
                      const int* targetStride) {
    SwsContext* context =
        sws_getContext(width, height, from, width, height, to, SWS_POINT, nullptr, nullptr, nullptr);
    if (!context) {
        state.SkipWithError("the scaler has no such conversion");
        return;
    }
    for (auto _ : state) {
        sws_scale(context, source, sourceStride, 0, height, target, targetStride);
        benchmark::ClobberMemory();
    }
    sws_freeContext(context);
}

} // namespace korvabench

#endif
