// A 1920x1080 RGB24 frame into three planes: against the scaler of FFmpeg
// doing the nearest conversion (bgr24 to gbrp), against memcpy of the output
// bytes, and column order against row order, all in one run.

#include "ratio_reporter.h"
#include "picture_bench.h"

#include <korva/korva.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace korvabench;

const char* const TYPE_NAMES[9] = {"double", "single", "int8", "uint8", "int16", "uint16", "int32", "uint32", "logical"};

void countOutput(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

void kernel(benchmark::State& state, VideoDataType type, int columnOrder) {
    PlaneBuffer planes(type);
    runInput(state, MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, type, false), noiseBytes(rgbFrameBytes(WIDTH, HEIGHT)),
             planes, columnOrder);
    countOutput(state, planes.bytes.size());
}

// The copy of as many bytes as the planes of the type take.
void copy(benchmark::State& state, VideoDataType type) {
    const std::size_t bytes = 3 * std::size_t(PIXELS) * videoDataTypeSize[type];
    std::vector<uint8_t> from(bytes, 1), to(bytes, 2);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::ClobberMemory();
    }
    countOutput(state, bytes);
}

void scaler(benchmark::State& state) {
    const std::vector<uint8_t> frame = noiseBytes(rgbFrameBytes(WIDTH, HEIGHT));
    std::vector<uint8_t> planes(3 * std::size_t(PIXELS), 1);
    const uint8_t* const source[1] = {frame.data()};
    const int sourceStride[1] = {rgbRowBytes(WIDTH)};
    uint8_t* const target[3] = {planes.data(), planes.data() + PIXELS, planes.data() + 2 * PIXELS};
    const int targetStride[3] = {WIDTH, WIDTH, WIDTH};
    runScaler(state, WIDTH, HEIGHT, AV_PIX_FMT_BGR24, source, sourceStride, AV_PIX_FMT_GBRP, target,
                          targetStride);
    countOutput(state, planes.size());
}

} // namespace

int main(int argc, char** argv) {
    if (!korvabench::initialize(argc, argv)) return 2;
    const auto configure = korvabench::pictureSettings;
    configure(benchmark::RegisterBenchmark("scaler bgr24 to gbrp", scaler));
    for (int t = 0; t <= VIDEO_LOGICAL; ++t) {
        const auto type = static_cast<VideoDataType>(t);
        const std::string name = TYPE_NAMES[t];
        configure(benchmark::RegisterBenchmark((name + " rows").c_str(), kernel, type, 0));
        configure(benchmark::RegisterBenchmark((name + " columns").c_str(), kernel, type, 1));
    }
    configure(benchmark::RegisterBenchmark("memcpy double planes", copy, VIDEO_DOUBLE));
    configure(benchmark::RegisterBenchmark("memcpy single planes", copy, VIDEO_SINGLE));

    korvabench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nRatios (median real times):\n");
    korvabench::printRatio("uint8 rows / scaler throughput", reporter.time("scaler bgr24 to gbrp") /
                                                                 reporter.time("uint8 rows"), 1.0, true);
    korvabench::printRatio("double rows / memcpy throughput", reporter.time("memcpy double planes") /
                                                                  reporter.time("double rows"), 0.5, true);
    korvabench::printRatio("single rows / memcpy throughput", reporter.time("memcpy single planes") /
                                                                  reporter.time("single rows"), 0.5, true);
    for (const char* name : TYPE_NAMES) {
        const std::string what = std::string(name) + " columns / rows time";
        korvabench::printRatio(what.c_str(),
                               reporter.time(std::string(name) + " columns") / reporter.time(std::string(name) + " rows"),
                               2.0, false);
    }
    return 0;
}
