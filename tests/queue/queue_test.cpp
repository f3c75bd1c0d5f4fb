// The queues one thread at a time, with their common part opened up. Every allocation of the process is counted,
// to show that a steady stream through the video queue makes none.

#include <korva/korva.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <numeric>
#include <vector>

static std::atomic<long> allocations{0};

void* operator new(std::size_t bytes) {
    ++allocations;
    if (void* p = std::malloc(bytes ? bytes : 1)) return p;
    throw std::bad_alloc();
}
// The replacement pair: what this new takes from malloc, delete gives back.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

namespace {
template <class Queue> struct Probe : Queue {
    using Queue::Queue, Queue::framesAvailable, Queue::sharedLock, Queue::sharedUnlock, Queue::slotsFree;
};

// Takes every stored permit without blocking and says how many there were.
int drain(Semaphore& semaphore) {
    int taken = 0;
    while (semaphore.timed_wait(0)) ++taken;
    return taken;
}

// The pool frame size is the largest of packed, planes and the smallest asked.
TEST(VideoQueue, FrameSizes) {
    const struct { FourCCType packed, planes; VideoDataType type; int w, h, smallest, bytes; } cases[] = {
        {FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 5, 2, 0, 32}, {FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, 5, 2, 0, 240},
        {FOURCC_YUY2, FOURCC_GREY, VIDEO_UINT8, 4, 4, 0, 32},
        {FOURCC_RGB, FOURCC_GREY, VIDEO_INT16, 4, 4, 100000, 100000}};
    for (const auto& c : cases) {
        MMVideoQueue queue(2, c.packed, c.planes, c.type, c.w, c.h, false);
        if (c.smallest) queue.createFrames(c.smallest);
        VideoFrame* frame = queue.createVideoFrame();
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->size, c.bytes) << c.w << "x" << c.h << " type " << c.type;
        frame->Release();
    }
}

// Frames go out from the head of the pool; a full pool gives null at once, and a released frame is the next one
// out. Flushing releases every frame and leaves both semaphores at 0; the shared lock nests. A frame the caller
// still holds outlives the queue until its own Release.
TEST(VideoQueue, PoolHandsOutFramesFromItsHeadAndFlushTakesThemBack) {
    VideoFrame* frames[3];
    {
        Probe<MMVideoQueue> queue(3, FOURCC_RGB, FOURCC_GREY, VIDEO_UINT8, 2, 2, false);
        for (auto& frame : frames) ASSERT_TRUE((frame = queue.createVideoFrame()) && frame->refCount == 2);
        EXPECT_EQ(queue.createVideoFrame(), nullptr);
        frames[1]->Release();
        EXPECT_EQ(queue.createVideoFrame(), frames[1]);
        for (auto* frame : frames) queue.enqueueFrame(frame);
        queue.framesAvailable.post();
        queue.sharedLock(), queue.sharedLock();
        queue.flushQueue();
        queue.sharedUnlock(), queue.sharedUnlock();
        EXPECT_EQ(queue.queuedFrames(), 0);
        for (auto* frame : frames) EXPECT_EQ(frame->refCount, 1);
        EXPECT_EQ(drain(queue.slotsFree), 0);
        EXPECT_EQ(drain(queue.framesAvailable), 0);
        frames[0]->refCount = 2;
    }
    EXPECT_EQ(frames[0]->Release(), 0);
}

// A full round first makes every pool frame and list node; later rounds reuse them.
TEST(VideoQueue, SteadyStreamAllocatesNothing) {
    MMVideoQueue queue(3, FOURCC_RGB, FOURCC_RGB, VIDEO_SINGLE, 64, 48, true);
    std::vector<float> planes(3 * 64 * 48);
    auto round = [&](int queued) {
        for (int i = 0; i < queued; ++i) {
            VideoFrame* frame = queue.createVideoFrame();
            ASSERT_NE(frame, nullptr);
            frame->init(nullptr, rgbFrameBytes(64, 48), i, 0);
            queue.enqueueFrame(frame);
        }
        for (int i = 0; i < queued; ++i)
            queue.copyVideoFrame(&planes[0], &planes[64 * 48], &planes[2 * 64 * 48]), queue.releaseFront();
    };
    round(3);
    const long before = allocations;
    for (int i = 0; i < 100; ++i) round(1 + i % 3);
    EXPECT_EQ(allocations - before, 0);
}

// The front frame is read as often as asked and stays queued; with nothing queued the planes get a blank picture.
TEST(VideoQueue, CopiesTheFrontFrameOrABlankPicture) {
    MMVideoQueue queue(4, FOURCC_RGB, FOURCC_RGB, VIDEO_INT16, 1, 1, false);
    std::vector<short> planes = {1, 2, 3};
    queue.copyVideoFrame(&planes[0], &planes[1], &planes[2]);
    EXPECT_EQ(planes, std::vector<short>(3, -32768));
    VideoFrame* frame = queue.createVideoFrame();
    uint8_t pixel[4] = {10, 20, 30, 0};
    frame->init(pixel, 4, 1.5, 2.5); // the pool's buffer, filled anew; the stamps travel along
    EXPECT_TRUE(frame->size == 4 && frame->stampA == 1.5 && frame->stampB == 2.5);
    queue.enqueueFrame(frame);
    for (int i = 0; i < 2; ++i) {
        queue.copyVideoFrame(&planes[0], &planes[1], &planes[2]);
        EXPECT_EQ(planes, (std::vector<short>{30 * 256 - 32768, 20 * 256 - 32768, 10 * 256 - 32768}));
        EXPECT_EQ(queue.queuedFrames(), 1);
    }
    queue.releaseFront();
    EXPECT_EQ(queue.queuedFrames(), 0);
    EXPECT_EQ(frame->refCount, 1);
}

// The wait for room: 100 rounds of 10 ms on a full queue, none when closing, none when permits are stored, and an
// over-full queue fails at once.
TEST(FrameQueue, WaitForRoom) {
    auto secondsOf = [](auto body) {
        const auto start = std::chrono::steady_clock::now();
        return body(), std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    MMVideoQueue none(0, FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 1, 1, false);
    none.setClosing(true);
    EXPECT_LT(secondsOf([&] { EXPECT_EQ(none.createVideoFrame(), nullptr); }), 0.5);
    none.setClosing(false);
    EXPECT_GT(secondsOf([&] { EXPECT_EQ(none.createVideoFrame(), nullptr); }), 0.9);
    Probe<MMVideoQueue> full(1, FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 1, 1, false);
    full.setClosing(true); // matters only when the queue is full
    VideoFrame* frame = full.createVideoFrame();
    ASSERT_NE(frame, nullptr);
    full.enqueueFrame(frame);
    EXPECT_EQ(full.createVideoFrame(), nullptr);
    full.setClosing(false);
    for (int i = 0; i < 100; ++i) full.slotsFree.post();
    EXPECT_LT(secondsOf([&] { EXPECT_EQ(full.createVideoFrame(), nullptr); }), 0.5);
    EXPECT_EQ(drain(full.slotsFree), 0);
}

// Enqueues stereo int16 frames of `samples` samples counting up from `first`, and `extra` bytes short of a sample.
AudioFrame* stereoFrame(MMAudioQueue& queue, int samples, short first = 0, int extra = 0) {
    std::vector<short> words(2 * samples + extra);
    std::iota(words.begin(), words.end(), first);
    AudioFrame* frame = queue.createAudioFrame();
    frame->init(words.data(), 4 * samples + extra);
    queue.enqueueFrame(frame);
    return frame;
}

// Reads are cut at the end of the front frame even with more queued, the cursor moves by whole samples, and the
// used-up frame leaves the queue with a slot posted.
TEST(AudioQueue, ReadsInBitesCutAtTheFrameEnd) {
    Probe<MMAudioQueue> queue(4, AUDIO_INT16, AUDIO_INT16, 2);
    AudioFrame* frame = stereoFrame(queue, 1000);
    stereoFrame(queue, 10);
    drain(queue.slotsFree);
    std::vector<short> out(2 * 400, 0x55);
    std::vector<int> counts;
    for (int i = 0; i < 2; ++i) counts.push_back(queue.copyAudioFrame(out.data(), 300, 400));
    EXPECT_EQ(frame->position, 2 * 300 * 4);
    EXPECT_EQ(out[0], 600); // the left channel of sample 300, in the planar layout
    EXPECT_EQ(out[400 + 299], 2 * 599 + 1);
    EXPECT_EQ(queue.copyAudioFrame(out.data(), 0, 400), 0);
    for (int i = 0; i < 2; ++i) counts.push_back(queue.copyAudioFrame(out.data(), 300, 400));
    EXPECT_EQ(counts, (std::vector<int>{300, 300, 300, 100}));
    EXPECT_EQ(queue.queuedFrames(), 1);
    EXPECT_EQ(drain(queue.slotsFree), 1);
}

// Bytes short of a whole sample are never delivered; an empty frame gives 0 and leaves; an empty queue gives the
// samples asked for, as silence.
TEST(AudioQueue, TrailingBytesEmptyFramesAndSilence) {
    MMAudioQueue queue(4, AUDIO_INT16, AUDIO_UINT8, 2);
    stereoFrame(queue, 10, 0, 1);
    AudioFrame* empty = queue.createAudioFrame();
    empty->init(nullptr, 0); // a size below 1 leaves the frame without a buffer
    EXPECT_TRUE(empty->data == nullptr && empty->size == 0);
    queue.enqueueFrame(empty);
    std::vector<uint8_t> out(2 * 256, 0x55);
    EXPECT_EQ(queue.copyAudioFrame(out.data(), 20, 20), 10);
    EXPECT_EQ(queue.copyAudioFrame(out.data(), 20, 20), 0);
    EXPECT_EQ(queue.queuedFrames(), 0);
    EXPECT_EQ(queue.copyAudioFrame(out.data(), 256, 256), 256);
    EXPECT_EQ(out, std::vector<uint8_t>(2 * 256, 0));
}
} // namespace
