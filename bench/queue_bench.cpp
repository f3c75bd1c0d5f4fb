// The cost of the frame queues themselves: a tiny frame through the whole
// round (create, init, enqueue, copy, release), and a 1080p picture into
// double planes through the video queue against the kernel called directly.

#include "ratio_reporter.h"

#include <korva/korva.h>

#include <cstdint>
#include <vector>

namespace {

const int WIDTH = 1920;
const int HEIGHT = 1080;

void videoRound(benchmark::State& state) {
    MMVideoQueue queue(4, FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 1, 1, false);
    uint8_t pixel[4] = {1, 2, 3, 0}, planes[3];
    for (auto _ : state) {
        VideoFrame* frame = queue.createVideoFrame();
        frame->init(pixel, 4, 0.0, 0.0);
        queue.enqueueFrame(frame);
        queue.copyVideoFrame(&planes[0], &planes[1], &planes[2]);
        queue.releaseFront();
        benchmark::DoNotOptimize(planes);
    }
}

void audioRound(benchmark::State& state) {
    MMAudioQueue queue(4, AUDIO_UINT8, AUDIO_UINT8, 1);
    uint8_t sample = 7, out = 0;
    for (auto _ : state) {
        AudioFrame* frame = queue.createAudioFrame();
        frame->init(&sample, 1);
        queue.enqueueFrame(frame);
        queue.copyAudioFrame(&out, 1, 1);
        benchmark::DoNotOptimize(out);
    }
}

// The same packed frame each time, into the same planes.
struct Picture {
    // The packed frame of the direct calls; the queue's own frames are left
    // as the pool made them.
    std::vector<uint8_t> frame = std::vector<uint8_t>(rgbFrameBytes(WIDTH, HEIGHT), 90);
    std::vector<double> planes = std::vector<double>(3 * size_t(WIDTH) * HEIGHT);
    double* plane(int i) { return planes.data() + size_t(i) * WIDTH * HEIGHT; }
};

void pictureThroughQueue(benchmark::State& state) {
    Picture picture;
    MMVideoQueue queue(2, FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, WIDTH, HEIGHT, false);
    // The pool's buffers get the direct calls' picture once.
    for (int i = 0; i < 2; ++i) {
        VideoFrame* frame = queue.createVideoFrame();
        frame->init(picture.frame.data(), int(picture.frame.size()), 0.0, 0.0);
        queue.enqueueFrame(frame);
    }
    queue.flushQueue();
    for (auto _ : state) {
        VideoFrame* frame = queue.createVideoFrame();
        // The producer fills the pool's buffer in place, as a reader would.
        frame->init(nullptr, int(picture.frame.size()), 0.0, 0.0);
        queue.enqueueFrame(frame);
        queue.copyVideoFrame(picture.plane(0), picture.plane(1), picture.plane(2));
        queue.releaseFront();
        benchmark::ClobberMemory();
    }
}

void pictureDirect(benchmark::State& state) {
    Picture picture;
    const MMVideoInputFcn input = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, false);
    for (auto _ : state) {
        input(picture.frame.data(), picture.plane(0), picture.plane(1), picture.plane(2), WIDTH, HEIGHT, 0);
        benchmark::ClobberMemory();
    }
}

} // namespace

int main(int argc, char** argv) {
    if (!korvabench::initialize(argc, argv)) return 2;
    auto configure = [](benchmark::internal::Benchmark* b) { b->MinTime(0.5)->Repetitions(5)->DisplayAggregatesOnly(true); };
    configure(benchmark::RegisterBenchmark("video queue round, 1x1 frame", videoRound)->Unit(benchmark::kNanosecond));
    configure(benchmark::RegisterBenchmark("audio queue round, 1-byte frame", audioRound)->Unit(benchmark::kNanosecond));
    configure(benchmark::RegisterBenchmark("1080p to double planes, direct", pictureDirect)->Unit(benchmark::kMillisecond));
    configure(benchmark::RegisterBenchmark("1080p to double planes, queue", pictureThroughQueue)->Unit(benchmark::kMillisecond));

    korvabench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nFigures (median real times):\n");
    korvabench::printRatio("video queue round, microseconds", reporter.time("video queue round, 1x1 frame") / 1000.0,
                           2.0, false);
    korvabench::printRatio("audio queue round, microseconds", reporter.time("audio queue round, 1-byte frame") / 1000.0,
                           2.0, false);
    korvabench::printRatio("queue / direct throughput, 1080p double",
                           reporter.time("1080p to double planes, direct") /
                               reporter.time("1080p to double planes, queue"),
                           0.9, true);
    return 0;
}
