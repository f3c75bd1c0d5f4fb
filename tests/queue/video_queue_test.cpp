#include "queue_probe.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using VideoProbe = Probe<MMVideoQueue>;

TEST(Frames, ReleaseAndInitAsTold) {
    auto* video = new VideoFrame;
    video->init(nullptr, 64, 1.5, 2.5);
    uint8_t* buffer = video->data;
    video->refCount = 2;
    EXPECT_EQ(video->Release(), 1);
    video->init(nullptr, 16, 3.0, 4.0); // keeps its buffer
    EXPECT_EQ(video->data, buffer);
    EXPECT_EQ(video->size, 16);
    EXPECT_EQ(video->stampB, 4.0);
    EXPECT_EQ(video->Release(), 0); // freed through the base, with its buffer

    auto* audio = new AudioFrame;
    audio->init(nullptr, 0);
    EXPECT_EQ(audio->data, nullptr);
    EXPECT_EQ(audio->size, 0);
    const char bytes[3] = {1, 2, 3};
    audio->init(const_cast<char*>(bytes), 3);
    EXPECT_EQ(audio->data[2], 3);
    EXPECT_EQ(audio->Release(), 0);
    EXPECT_EQ((new AudioFrame)->Release(), 0); // no buffer at all
}

// The pool frame size is the largest of packed, planes and the smallest asked.
TEST(VideoQueue, FrameSizes) {
    struct Case { FourCCType packed, planes; VideoDataType type; int w, h, smallest, bytes; };
    for (const Case& c : {Case{FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 5, 2, 0, 32},
                          Case{FOURCC_RGB, FOURCC_RGB, VIDEO_DOUBLE, 5, 2, 0, 240},
                          Case{FOURCC_YUY2, FOURCC_GREY, VIDEO_UINT8, 4, 4, 0, 32},
                          Case{FOURCC_RGB, FOURCC_GREY, VIDEO_INT16, 4, 4, 100000, 100000}}) {
        MMVideoQueue queue(2, c.packed, c.planes, c.type, c.w, c.h, false);
        if (c.smallest) queue.createFrames(c.smallest);
        VideoFrame* frame = queue.createVideoFrame();
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->size, c.bytes) << c.w << "x" << c.h << " type " << c.type;
        frame->Release();
    }
}

// Frames go out from the head of the pool; a full pool gives null at once,
// and a released frame is the next one out.
// A frame the caller still holds outlives the queue until its own Release.
TEST(VideoQueue, PoolHandsOutFreeFramesFromItsHead) {
    VideoFrame* frames[3];
    {
        MMVideoQueue queue(3, FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 2, 2, false);
        for (auto& frame : frames) {
            frame = queue.createVideoFrame();
            ASSERT_NE(frame, nullptr);
            EXPECT_EQ(frame->refCount, 2);
        }
        EXPECT_EQ(queue.createVideoFrame(), nullptr);
        frames[1]->Release();
        EXPECT_EQ(queue.createVideoFrame(), frames[1]);
        frames[0]->refCount = 3;
        for (auto* frame : frames) frame->Release();
    }
    EXPECT_EQ(frames[0]->refCount, 1);
    EXPECT_EQ(frames[0]->Release(), 0);
}

// The front frame is read as often as asked and stays queued; with nothing
// queued the planes get a blank picture.
TEST(VideoQueue, CopiesTheFrontFrameOrABlankPicture) {
    MMVideoQueue queue(4, FOURCC_RGB, FOURCC_RGB, VIDEO_INT16, 1, 1, false);
    short planes[3] = {1, 2, 3};
    queue.copyVideoFrame(&planes[0], &planes[1], &planes[2]);
    EXPECT_EQ(std::vector<short>(planes, planes + 3), std::vector<short>(3, -32768));
    VideoFrame* frame = queue.createVideoFrame();
    uint8_t pixel[4] = {10, 20, 30, 0};
    frame->init(pixel, 4, 0, 0);
    queue.enqueueFrame(frame);
    for (int i = 0; i < 2; ++i) {
        queue.copyVideoFrame(&planes[0], &planes[1], &planes[2]);
        EXPECT_EQ(std::vector<short>(planes, planes + 3), (std::vector<short>{30 * 256 - 32768, 20 * 256 - 32768,
                                                                               10 * 256 - 32768}));
        EXPECT_EQ(queue.queuedFrames(), 1);
    }
    queue.releaseFront();
    EXPECT_EQ(queue.queuedFrames(), 0);
    EXPECT_EQ(frame->refCount, 1);
}

// The wait for room: 100 rounds of 10 ms on a full queue, none when closing,
// none when permits are stored, and an over-full queue fails at once.
TEST(FrameQueue, WaitForRoom) {
    MMVideoQueue none(0, FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 1, 1, false);
    none.setClosing(true);
    EXPECT_LT(secondsOf([&] { EXPECT_EQ(none.createVideoFrame(), nullptr); }), 0.5);
    none.setClosing(false);
    EXPECT_GT(secondsOf([&] { EXPECT_EQ(none.createVideoFrame(), nullptr); }), 0.9);

    VideoProbe full(1, FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, 1, 1, false);
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

// Flushing releases every frame and leaves both semaphores at 0; the shared
// lock nests.
TEST(FrameQueue, FlushEmptiesTheQueueAndTheSemaphores) {
    VideoProbe queue(3, FOURCC_RGB, FOURCC_GREY, VIDEO_UINT8, 2, 2, false);
    std::vector<VideoFrame*> frames;
    for (int i = 0; i < 3; ++i) frames.push_back(queue.createVideoFrame());
    for (auto* frame : frames) queue.enqueueFrame(frame);
    queue.framesAvailable.post();
    queue.sharedLock();
    queue.sharedLock();
    queue.flushQueue();
    queue.sharedUnlock();
    queue.sharedUnlock();
    EXPECT_EQ(queue.queuedFrames(), 0);
    for (auto* frame : frames) EXPECT_EQ(frame->refCount, 1);
    EXPECT_EQ(drain(queue.slotsFree), 0);
    EXPECT_EQ(drain(queue.framesAvailable), 0);
}

} // namespace
