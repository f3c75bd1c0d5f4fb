#include "queue_probe.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace {

using AudioProbe = Probe<MMAudioQueue>;

// Stereo int16 frames of `samples` samples counting up from `first`, plus
// `extra` bytes short of a whole sample.
AudioFrame* stereoFrame(MMAudioQueue& queue, int samples, short first = 0, int extra = 0) {
    std::vector<short> words(2 * samples + extra);
    std::iota(words.begin(), words.end(), first);
    AudioFrame* frame = queue.createAudioFrame();
    frame->init(words.data(), 4 * samples + extra);
    queue.enqueueFrame(frame);
    return frame;
}

// Reads are cut at the end of the front frame, the cursor moves by whole
// samples, and the used-up frame leaves the queue with a slot posted.
TEST(AudioQueue, ReadsInBitesCutAtTheFrameEnd) {
    AudioProbe queue(4, AUDIO_INT16, AUDIO_INT16, 2);
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

// Bytes short of a whole sample are never delivered; an empty frame gives 0
// and leaves; an empty queue gives the samples asked for, as silence.
TEST(AudioQueue, TrailingBytesEmptyFramesAndSilence) {
    MMAudioQueue queue(4, AUDIO_INT16, AUDIO_UINT8, 2);
    stereoFrame(queue, 10, 0, 1);
    AudioFrame* empty = queue.createAudioFrame();
    empty->init(nullptr, 0);
    queue.enqueueFrame(empty);
    std::vector<uint8_t> out(2 * 256, 0x55);
    EXPECT_EQ(queue.copyAudioFrame(out.data(), 20, 20), 10);
    EXPECT_EQ(queue.copyAudioFrame(out.data(), 20, 20), 0);
    EXPECT_EQ(queue.queuedFrames(), 0);
    EXPECT_EQ(queue.copyAudioFrame(out.data(), 256, 256), 256);
    EXPECT_EQ(out, std::vector<uint8_t>(2 * 256, 0));
}

} // namespace
