// Three 1920x1080 planes into a packed RGB frame: against the scaler of
// FFmpeg doing the nearest conversion (gbrp to bgr24), and column order
// against row order, all in one run.

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

// Planes of the type holding a random picture, as the input kernel makes them.
std::vector<uint8_t> makePlanes(VideoDataType type) {
    std::vector<uint8_t> frame(rgbFrameBytes(WIDTH, HEIGHT));
    uint32_t x = 12345;
    for (auto& b : frame) b = static_cast<uint8_t>((x = x * 1664525u + 1013904223u) >> 24);
    const std::size_t planeBytes = std::size_t(PIXELS) * videoDataTypeSize[type];
    std::vector<uint8_t> planes(3 * planeBytes);
    MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, type, false)(frame.data(), planes.data(), planes.data() + planeBytes,
                                                              planes.data() + 2 * planeBytes, WIDTH, HEIGHT, 0);
    return planes;
}

void kernel(benchmark::State& state, VideoDataType type, int columnOrder) {
    const std::vector<uint8_t> planes = makePlanes(type);
    const std::size_t planeBytes = planes.size() / 3;
    std::vector<uint8_t> frame(rgbFrameBytes(WIDTH, HEIGHT), 1);
    const MMVideoOutputFcn output = MM_GetVideoOutputFcn(FOURCC_RGB, FOURCC_RGB, type);
    for (auto _ : state) {
        output(planes.data(), planes.data() + planeBytes, planes.data() + 2 * planeBytes, frame.data(), WIDTH, HEIGHT,
               columnOrder);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(frame.size()));
}

// The scaler's planes are green, blue, red; its frame is top-down, which
// costs nothing either way.
void scaler(benchmark::State& state) {
    const std::vector<uint8_t> planes = makePlanes(VIDEO_UINT8);
    std::vector<uint8_t> frame(rgbFrameBytes(WIDTH, HEIGHT), 1);
    const uint8_t* const source[3] = {planes.data() + PIXELS, planes.data() + 2 * PIXELS, planes.data()};
    const int sourceStride[3] = {WIDTH, WIDTH, WIDTH};
    uint8_t* const target[1] = {frame.data()};
    const int targetStride[1] = {rgbRowBytes(WIDTH)};
    korvabench::runScaler(state, WIDTH, HEIGHT, AV_PIX_FMT_GBRP, source, sourceStride, AV_PIX_FMT_BGR24, target,
                          targetStride);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(frame.size()));
}

} // namespace

int main(int argc, char** argv) {
    if (!korvabench::initialize(argc, argv)) return 2;
    auto configure = [](benchmark::internal::Benchmark* b) {
        b->Unit(benchmark::kMillisecond)->MinTime(0.3)->Repetitions(5)->DisplayAggregatesOnly(true);
    };
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
