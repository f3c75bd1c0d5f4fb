#include <korva/queue/audio_queue.h>

MMAudioQueue::MMAudioQueue(int capacity, AudioDataType frameType, AudioDataType outputType, int numChannels)
    : MMFrameQueue(capacity), sampleType(frameType), numChannels(numChannels),
      copyKernel(MM_GetAudioTransposeCopyFcn(frameType, outputType, true)),
      emptyKernel(MM_GetAudioEmptyFcn(outputType)) {}

MMAudioQueue::~MMAudioQueue() { flushQueue(); }

// A new frame reserves no place: several may be made while one is left.
AudioFrame* MMAudioQueue::createAudioFrame() { return waitForSlot() ? new AudioFrame : nullptr; }

int32_t MMAudioQueue::samplesLeft(const AudioFrame& frame) const {
    const int32_t sampleBytes = audioDataTypeSize[sampleType] * numChannels;
    return (frame.size - frame.position) / sampleBytes;
}

// Only the consumer moves the cursor, so it needs no lock; the kernels run
// outside it. Trailing bytes short of a whole sample are never delivered.
int MMAudioQueue::copyAudioFrame(void* destination, int requested, int stride) {
    AudioFrame* frame = static_cast<AudioFrame*>(peekFront());
    if (!frame) {
        emptyKernel(nullptr, destination, requested, numChannels, stride);
        return requested;
    }
    const int32_t left = samplesLeft(*frame);
    const int32_t count = left <= requested ? left : requested;
    copyKernel(frame->data + frame->position, destination, count, numChannels, stride);
    if (count == samplesLeft(*static_cast<AudioFrame*>(peekFront()))) {
        releaseFront();
    } else {
        frame->position += count * audioDataTypeSize[sampleType] * numChannels;
    }
    return count;
}
