#ifndef KORVA_QUEUE_AUDIO_QUEUE_H
#define KORVA_QUEUE_AUDIO_QUEUE_H

#include <korva/core/export.h>

// Blocks of interleaved audio from a producer to a consumer, who takes them
// in reads of any size and converts them on the way out. A read never spans
// two frames, and an empty queue gives silence without waiting.

#include <korva/audio/selectors.h>
#include <korva/core/media_types.h>
#include <korva/queue/frame_queue.h>

class KORVA_API MMAudioQueue : public MMFrameQueue {
public:
    // Frames hold interleaved samples of frameType; reads deliver outputType,
    // laid out as the transpose copy to planes lays it out. An unsupported
    // type throws as the audio selectors do.
    MMAudioQueue(int capacity, AudioDataType frameType, AudioDataType outputType, int numChannels);
    ~MMAudioQueue();

    // A new, empty frame for the producer to init and enqueue, or null when
    // the queue stayed full for about a second or is closing.
    AudioFrame* createAudioFrame();
    // Up to `requested` samples (groups of numChannels) from the front frame,
    // cut at the frame's end; `requested` samples of silence when no frame is
    // queued. Returns the samples delivered.
    int copyAudioFrame(void* destination, int requested, int stride);

private:
    // Whole samples left in the front frame.
    int32_t samplesLeft(const AudioFrame& frame) const;

    AudioDataType sampleType;
    int32_t numChannels;
    MMAudioTransposeCopyFcn copyKernel;
    MMAudioEmptyFcn emptyKernel;
};

#endif
