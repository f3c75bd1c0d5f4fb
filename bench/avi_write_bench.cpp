// Write throughput of avi::File: 1920x1080 24-bit frames streamed with
// writeVideoFrame against a plain fwrite loop of the same bytes to the same file
// system, side by side; and the same frames with interleaved audio blocks,
// whose cost should be no more than their bytes' worth.
//
// Files go to $KORVA_BENCH_DIR (default /tmp/korva-bench) and are removed after
// each iteration. Each iteration writes about 500 MB and ends with the file
// closed, so the times include what the stream buffers.
//
// Usage: avi_write_bench [Google Benchmark flags]

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <korva/avi/file.h>

#include "ratio_reporter.h"

namespace {

const unsigned WIDTH = 1920;
const unsigned HEIGHT = 1080;
const size_t FRAME_BYTES = size_t(WIDTH) * HEIGHT * 3;
const size_t FRAMES = 80;
const unsigned AUDIO_BYTES = 44100 * 4 / 25; // one frame's worth of 16-bit stereo

std::string benchPath(const char* name) {
    const char* dir = std::getenv("KORVA_BENCH_DIR");
    const std::string root = dir && *dir ? dir : "/tmp/korva-bench";
    std::filesystem::create_directories(root);
    return root + "/" + name;
}

std::vector<char> patternFrame() {
    std::vector<char> frame(FRAME_BYTES);
    for (size_t i = 0; i < frame.size(); ++i) frame[i] = char(i * 7 + i / 4099);
    return frame;
}

void countBytes(benchmark::State& state, size_t perIteration) {
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(perIteration));
}

void fwriteLoop(benchmark::State& state) {
    const std::string path = benchPath("write-fwrite.raw");
    std::vector<char> frame = patternFrame();
    for (auto _ : state) {
        FILE* f = std::fopen(path.c_str(), "wb");
        if (f == nullptr) {
            state.SkipWithError("cannot create the file");
            return;
        }
        for (size_t n = 0; n < FRAMES; ++n) std::fwrite(frame.data(), 1, frame.size(), f);
        std::fclose(f);
        state.PauseTiming();
        std::remove(path.c_str());
        state.ResumeTiming();
    }
    countBytes(state, FRAMES * FRAME_BYTES);
}

void writeFrames(benchmark::State& state, bool withAudio) {
    const std::string path = benchPath(withAudio ? "write-avi-audio.avi" : "write-avi.avi");
    std::vector<char> frame = patternFrame();
    std::vector<char> audio(AUDIO_BYTES, 3);
    for (auto _ : state) {
        avi::File file;
        if (!file.open(path.c_str(), "wb")) {
            state.SkipWithError(file.getErrorMsg());
            return;
        }
        file.setVideoInfo(WIDTH, HEIGHT, 25.0);
        if (withAudio) file.setAudioInfo(44100.0, 16, 2, AUDIO_BYTES);
        for (size_t n = 0; n < FRAMES; ++n) {
            file.writeVideoFrame(frame.data());
            if (withAudio) file.writeAudio(audio.data());
        }
        file.close();
        if (file.getErrorCode() != avi::errors::NO_ERROR) {
            state.SkipWithError(file.getErrorMsg());
            return;
        }
        state.PauseTiming();
        std::remove(path.c_str());
        state.ResumeTiming();
    }
    countBytes(state, FRAMES * (FRAME_BYTES + (withAudio ? AUDIO_BYTES : 0)));
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    auto configure = [](benchmark::internal::Benchmark* b) {
        // Process CPU time, user and system: the cost of the calls themselves,
        // without the noise of the kernel's own writeback of earlier files.
        b->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->MinTime(2.0)->Repetitions(5)->DisplayAggregatesOnly(
            true);
    };
    configure(benchmark::RegisterBenchmark("fwrite", fwriteLoop));
    configure(benchmark::RegisterBenchmark("writeVideoFrame", writeFrames, false));
    configure(benchmark::RegisterBenchmark("writeVideoFrame+writeAudio", writeFrames, true));

    korvabench::RatioReporter reporter(true);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const double plain = reporter.time("fwrite");
    const double video = reporter.time("writeVideoFrame");
    const double both = reporter.time("writeVideoFrame+writeAudio");
    std::printf("\nRatios (median process CPU times):\n");
    korvabench::printRatio("writeVideoFrame / fwrite throughput", plain / video, 0.9, true);
    // Audio adding no more than its bytes' worth keeps the bytes per second of
    // the mixed file at those of video alone; 3% is the noise of one run.
    const double mixedBytes = double(FRAME_BYTES + AUDIO_BYTES) / double(FRAME_BYTES);
    korvabench::printRatio("video+audio / video-only throughput", mixedBytes * video / both, 0.97, true);
    return 0;
}
