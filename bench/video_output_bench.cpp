// Three 1920x1080 planes into a packed RGB frame: against the scaler of
// FFmpeg doing the nearest conversion (gbrp to bgr24), and column order
// against row order, all in one run.

#include "ratio_reporter.h"
#include "picture_bench.h"

#include <korva/korva.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using namespace korvabench;

// Planes of the type holding a random picture, as the input kernel makes them.
PlaneBuffer makePlanes(VideoDataType type) {
    const std::vector<uint8_t> frame = noiseBytes(rgbFrameBytes(WIDTH, HEIGHT));
    PlaneBuffer planes(type);
    MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, type, false)(frame.data(), planes.plane(0), planes.plane(1),
                                                              planes.plane(2), WIDTH, HEIGHT, 0);
    return planes;
}

void kernel(benchmark::State& state, VideoDataType type, int columnOrder) {
    PlaneBuffer planes = makePlanes(type);
    std::vector<uint8_t> frame(rgbFrameBytes(WIDTH, HEIGHT), 1);
    const MMVideoOutputFcn output = MM_GetVideoOutputFcn(FOURCC_RGB, FOURCC_RGB, type);
    for (auto _ : state) {
        output(planes.plane(0), planes.plane(1), planes.plane(2), frame.data(), WIDTH, HEIGHT, columnOrder);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(frame.size()));
}

// The scaler's planes are green, blue, red; its frame is top-down, which
// costs nothing either way.
void scaler(benchmark::State& state) {
    PlaneBuffer planes = makePlanes(VIDEO_UINT8);
    std::vector<uint8_t> frame(rgbFrameBytes(WIDTH, HEIGHT), 1);
    const uint8_t* const source[3] = {planes.plane(1), planes.plane(2), planes.plane(0)};
    const int sourceStride[3] = {WIDTH, WIDTH, WIDTH};
    uint8_t* const target[1] = {frame.data()};
    const int targetStride[1] = {rgbRowBytes(WIDTH)};
    runScaler(state, WIDTH, HEIGHT, AV_PIX_FMT_GBRP, source, sourceStride, AV_PIX_FMT_BGR24, target,
                          targetStride);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(frame.size()));
}

} // namespace

int main(int argc, char** argv) {
    if (!korvabench::initialize(argc, argv)) return 2;
    const auto configure = korvabench::pictureSettings;
    configure(benchmark::RegisterBenchmark("scaler gbrp to bgr24", scaler));
    const std::pair<VideoDataType, const char*> types[] = {{VIDEO_UINT8, "uint8"}, {VIDEO_DOUBLE, "double"}};
    for (auto [type, name] : types) {
        configure(benchmark::RegisterBenchmark((std::string(name) + " rows").c_str(), kernel, type, 0));
        configure(benchmark::RegisterBenchmark((std::string(name) + " columns").c_str(), kernel, type, 1));
    }

    korvabench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const double peer = reporter.time("scaler gbrp to bgr24");
    std::printf("\nRatios (median real times):\n");
    korvabench::printRatio("uint8 rows / scaler throughput", peer / reporter.time("uint8 rows"), 0.5, true);
    korvabench::printRatio("uint8 columns / scaler throughput", peer / reporter.time("uint8 columns"), 0.5, true);
    // Double planes read eight times the bytes and reduce each element in
    // floating point: quoted, with no bound.
    std::printf("%-56s %6.3f\n", "double rows / scaler throughput", peer / reporter.time("double rows"));
    std::printf("%-56s %6.3f\n", "double columns / scaler throughput", peer / reporter.time("double columns"));
    // Quoted as well: the 8-bit column walk is a transpose besides the
    // interleave of the row walk; for doubles the reduction outweighs both.
    for (const char* name : {"uint8", "double"}) {
        const std::string what = std::string(name) + " columns / rows time";
        std::printf("%-56s %6.3f\n", what.c_str(),
                    reporter.time(std::string(name) + " columns") / reporter.time(std::string(name) + " rows"));
    }
    return 0;
}
