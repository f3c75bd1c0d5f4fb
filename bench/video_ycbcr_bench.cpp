// A 1920x1080 YUY2 frame into R, G, B planes in row order, against the scaler
// of FFmpeg doing the nearest conversion on the same frame (yuyv422 to gbrp,
// planar RGB), all in one run. Throughput counts pixels.

#include "ratio_reporter.h"
#include "scaler_peer.h"

#include <korva/korva.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>


namespace {

const int WIDTH = 1920;
const int HEIGHT = 1080;
const int PIXELS = WIDTH * HEIGHT;

std::vector<uint8_t> makeFrame() {
    std::vector<uint8_t> frame(yuy2FrameBytes(WIDTH, HEIGHT));
    uint32_t x = 12345;
    for (auto& b : frame) b = static_cast<uint8_t>((x = x * 1664525u + 1013904223u) >> 24);
    return frame;
}

void countPixels(benchmark::State& state) { state.SetItemsProcessed(int64_t(state.iterations()) * PIXELS); }

void kernel(benchmark::State& state, VideoDataType type, int columnOrder) {
    const std::vector<uint8_t> frame = makeFrame();
    const std::size_t planeBytes = std::size_t(PIXELS) * videoDataTypeSize[type];
    std::vector<uint8_t> planes(3 * planeBytes, 1);
    const MMVideoInputFcn input = MM_GetVideoInputFcn(FOURCC_YUY2, FOURCC_RGB, type, false);
    for (auto _ : state) {
        input(frame.data(), planes.data(), planes.data() + planeBytes, planes.data() + 2 * planeBytes, WIDTH, HEIGHT,
              columnOrder);
        benchmark::ClobberMemory();
    }
    countPixels(state);
}

void scaler(benchmark::State& state) {
    const std::vector<uint8_t> frame = makeFrame();
    std::vector<uint8_t> planes(3 * std::size_t(PIXELS), 1);
    const uint8_t* const source[1] = {frame.data()};
    const int sourceStride[1] = {2 * WIDTH};
    uint8_t* const target[3] = {planes.data(), planes.data() + PIXELS, planes.data() + 2 * PIXELS};
    const int targetStride[3] = {WIDTH, WIDTH, WIDTH};
    korvabench::runScaler(state, WIDTH, HEIGHT, AV_PIX_FMT_YUYV422, source, sourceStride, AV_PIX_FMT_GBRP, target,
                          targetStride);
    countPixels(state);
}

} // namespace

int main(int argc, char** argv) {
    if (!korvabench::initialize(argc, argv)) return 2;
    auto configure = [](benchmark::internal::Benchmark* b) {
        b->Unit(benchmark::kMillisecond)->MinTime(0.3)->Repetitions(5)->DisplayAggregatesOnly(true);
    };
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
