// A 1920x1080 YUY2 frame into R, G, B planes in row order, against the scaler
// of FFmpeg doing the nearest conversion on the same frame (yuyv422 to gbrp,
// planar RGB), all in one run. Throughput counts pixels.

#include "ratio_reporter.h"
#include "picture_bench.h"

#include <korva/korva.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using namespace korvabench;

void countPixels(benchmark::State& state) { state.SetItemsProcessed(int64_t(state.iterations()) * PIXELS); }

void kernel(benchmark::State& state, VideoDataType type, int columnOrder) {
    PlaneBuffer planes(type);
    runInput(state, MM_GetVideoInputFcn(FOURCC_YUY2, FOURCC_RGB, type, false),
             noiseBytes(yuy2FrameBytes(WIDTH, HEIGHT)), planes, columnOrder);
    countPixels(state);
}

void scaler(benchmark::State& state) {
    const std::vector<uint8_t> frame = noiseBytes(yuy2FrameBytes(WIDTH, HEIGHT));
    std::vector<uint8_t> planes(3 * std::size_t(PIXELS), 1);
    const uint8_t* const source[1] = {frame.data()};
    const int sourceStride[1] = {2 * WIDTH};
    uint8_t* const target[3] = {planes.data(), planes.data() + PIXELS, planes.data() + 2 * PIXELS};
    const int targetStride[3] = {WIDTH, WIDTH, WIDTH};
    runScaler(state, WIDTH, HEIGHT, AV_PIX_FMT_YUYV422, source, sourceStride, AV_PIX_FMT_GBRP, target,
                          targetStride);
    countPixels(state);
}

} // namespace

int main(int argc, char** argv) {
    if (!korvabench::initialize(argc, argv)) return 2;
    const auto configure = korvabench::pictureSettings;
    configure(benchmark::RegisterBenchmark("scaler yuyv422 to gbrp", scaler));
    configure(benchmark::RegisterBenchmark("uint8 rows", kernel, VIDEO_UINT8, 0));
    configure(benchmark::RegisterBenchmark("double rows", kernel, VIDEO_DOUBLE, 0));
    configure(benchmark::RegisterBenchmark("uint8 columns", kernel, VIDEO_UINT8, 1));
    configure(benchmark::RegisterBenchmark("double columns", kernel, VIDEO_DOUBLE, 1));

    korvabench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const double peer = reporter.time("scaler yuyv422 to gbrp");
    std::printf("\nRatios of pixel throughput to the scaler's (median real times):\n");
    korvabench::printRatio("uint8 rows / scaler", peer / reporter.time("uint8 rows"), 0.5, true);
    // No target: the planes of doubles are eight times the scaler's bytes,
    // and the scaler has no column order.
    for (const char* name : {"double rows", "uint8 columns", "double columns"}) {
        std::printf("%-56s %6.3f\n", (std::string(name) + " / scaler").c_str(), peer / reporter.time(name));
    }
    return 0;
}
