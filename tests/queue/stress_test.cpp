// One producer and one consumer on their own threads, as the queues are meant to be used: every frame the producer
// got and enqueued reaches the consumer exactly once and in order, however often the producer had to drop.

#include <korva/korva.h>

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

namespace {
// The producer numbers its attempts and keeps those it enqueued, until 100000 went in; the consumer keeps those it
// read. `make` gives a frame carrying a number, or null (dropped); `take` reads the front frame's number, removes it.
template <class Make, class Take> void runBothEnds(MMFrameQueue& queue, Make make, Take take) {
    std::vector<uint32_t> sent, received;
    std::atomic<bool> done{false};
    std::thread consumer([&] {
        for (bool last = false; !last; std::this_thread::yield()) {
            last = done.load(); // everything is queued once this is seen
            while (queue.queuedFrames() > 0) received.push_back(take());
        }
    });
    for (uint32_t tries = 0; sent.size() < 100000; ++tries) {
        if (MMFrame* frame = make(tries)) queue.enqueueFrame(frame), sent.push_back(tries);
        else std::this_thread::yield();
    }
    done = true;
    consumer.join();
    EXPECT_EQ(received, sent);
}

// 1 x 1 RGB frames carry the low 24 bits of their number, blue byte first; the pool ends back at count 1.
TEST(QueueStress, VideoFramesArriveOnceAndInOrder) {
    MMVideoQueue queue(4, FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 1, 1, false);
    std::set<VideoFrame*> pool;
    auto make = [&](uint32_t n) -> MMFrame* {
        uint8_t pixel[4] = {uint8_t(n), uint8_t(n >> 8), uint8_t(n >> 16)};
        VideoFrame* frame = queue.createVideoFrame();
        if (frame) frame->init(pixel, 4, n, 0), pool.insert(frame);
        return frame;
    };
    runBothEnds(queue, make, [&] {
        uint8_t red, green, blue;
        queue.copyVideoFrame(&red, &green, &blue);
        queue.releaseFront();
        return uint32_t(blue | green << 8 | red << 16);
    });
    for (VideoFrame* frame : pool) EXPECT_EQ(frame->refCount, 1);
}

// Mono int16 frames of two samples carry their number; each read takes a whole frame.
TEST(QueueStress, AudioFramesArriveOnceAndInOrder) {
    MMAudioQueue queue(4, AUDIO_INT16, AUDIO_INT16, 1);
    auto make = [&](uint32_t n) -> MMFrame* {
        AudioFrame* frame = queue.createAudioFrame();
        if (frame) frame->init(&n, sizeof n);
        return frame;
    };
    runBothEnds(queue, make, [&] {
        uint32_t n = 0;
        EXPECT_EQ(queue.copyAudioFrame(&n, 2, 2), 2);
        return n;
    });
}
} // namespace
