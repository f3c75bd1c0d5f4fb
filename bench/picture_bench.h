#ifndef KORVA_BENCH_PICTURE_BENCH_H
#define KORVA_BENCH_PICTURE_BENCH_H

// What the video benchmarks share: a full HD picture of noise, planes of any
// type in one buffer, the settings of a picture's benchmark, and FFmpeg's
// scaler as the peer, converting a picture of the same size without scaling.

#include <benchmark/benchmark.h>
#include <korva/korva.h>

#include <cstddef>
#include <cstdint>
#include <vector>

extern "C" {
#include <libswscale/swscale.h>
}

namespace korvabench {

constexpr int WIDTH = 1920;
constexpr int HEIGHT = 1080;
constexpr int PIXELS = WIDTH * HEIGHT;

// Bytes of a fixed linear congruential sequence: the same picture every run.
inline std::vector<uint8_t> noiseBytes(std::size_t count) {
    std::vector<uint8_t> bytes(count);
    uint32_t x = 12345;
    for (auto& b : bytes) {
        x = x * 1664525u + 1013904223u;
        b = static_cast<uint8_t>(x >> 24);
    }
    return bytes;
}

// Three full HD planes of one type, one after the other, and room behind
// them for the element past the end that some YCbCr walks read.
struct PlaneBuffer {
    explicit PlaneBuffer(VideoDataType type)
        : planeBytes(std::size_t(PIXELS) * videoDataTypeSize[type]), bytes(3 * planeBytes + 64, 1) {}
    uint8_t* plane(int p) { return bytes.data() + p * planeBytes; }

    std::size_t planeBytes;
    std::vector<uint8_t> bytes;
};

// Repetitions long enough to average a picture's memory traffic.
inline benchmark::internal::Benchmark* pictureSettings(benchmark::internal::Benchmark* b) {
    return b->Unit(benchmark::kMillisecond)->MinTime(0.3)->Repetitions(5)->DisplayAggregatesOnly(true);
}

// Turns the frame into the planes once an iteration.
inline void runInput(benchmark::State& state, MMVideoInputFcn input, const std::vector<uint8_t>& frame,
                     PlaneBuffer& planes, int columnOrder) {
    for (auto _ : state) {
        input(frame.data(), planes.plane(0), planes.plane(1), planes.plane(2), WIDTH, HEIGHT, columnOrder);
        benchmark::ClobberMemory();
    }
}

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
