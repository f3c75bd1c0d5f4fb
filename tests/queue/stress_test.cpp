// One producer and one consumer on their own threads, as the queues are
// meant to be used: every frame the producer got and enqueued reaches the
// consumer exactly once and in order, however often the producer had to drop.

#include <korva/korva.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

namespace {

const uint32_t FRAMES = 100000;

// The producer numbers its attempts and keeps the numbers it enqueued until
// FRAMES went in; the consumer keeps the numbers it read. `make` gives a frame carrying a number,
// or null; `take` reads the front frame's number and removes it.
template <class Make, class Take> void runBothEnds(MMFrameQueue& queue, Make make, Take take) {
    std::vector<uint32_t> sent, received;
    std::atomic<bool> done{false};
    std::thread consumer([&] {
        for (;;) {
            const bool last = done.load();
            if (queue.queuedFrames() > 0) {
                received.push_back(take());
            } else if (last) {
                break;
            } else {
                std::this_thread::yield();
            }
        }
    });
    // A null frame is a dropped picture; the next one tries again.
    for (uint32_t n = 0, tries = 0; n < FRAMES; ++tries) {
        if (MMFrame* frame = make(tries)) {
            queue.enqueueFrame(frame);
            sent.push_back(tries);
            ++n;
        } else {
            std::this_thread::yield();
        }
    }
    done = true;
    consumer.join();
    EXPECT_EQ(received, sent);
}

// Frames of 4 x 1 RGB pixels carry their number in their first four bytes.
TEST(QueueStress, VideoFramesArriveOnceAndInOrder) {
    MMVideoQueue queue(4, FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 4, 1, false);
    std::vector<VideoFrame*> pool;
    auto make = [&](uint32_t n) -> MMFrame* {
        VideoFrame* frame = queue.createVideoFrame();
        if (frame) {
            uint8_t bytes[12] = {};
            std::memcpy(bytes, &n, sizeof n);
            frame->init(bytes, sizeof bytes, n, 0);
            if (pool.size() < 4 && std::find(pool.begin(), pool.end(), frame) == pool.end()) pool.push_back(frame);
        }
        return frame;
    };
    auto take = [&] {
        uint8_t planes[3][4];
        queue.copyVideoFrame(planes[0], planes[1], planes[2]);
        queue.releaseFront();
        const uint8_t bytes[4] = {planes[2][0], planes[1][0], planes[0][0], planes[2][1]};
        uint32_t n;
        std::memcpy(&n, bytes, sizeof n);
        return n;
    };
    runBothEnds(queue, make, take);
    for (VideoFrame* frame : pool) EXPECT_EQ(frame->refCount.load(), 1);
}

// Mono int16 frames of two samples carry their number, low half first; each
// read takes a whole frame.
TEST(QueueStress, AudioFramesArriveOnceAndInOrder) {
    MMAudioQueue queue(4, AUDIO_INT16, AUDIO_INT16, 1);
    auto make = [&](uint32_t n) -> MMFrame* {
        AudioFrame* frame = queue.createAudioFrame();
        if (frame) frame->init(&n, sizeof n);
        return frame;
    };
    auto take = [&] {
        uint32_t n = 0;
        EXPECT_EQ(queue.copyAudioFrame(&n, 2, 2), 2);
        return n;
    };
    runBothEnds(queue, make, take);
}

} // namespace
