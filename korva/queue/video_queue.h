#ifndef KORVA_QUEUE_VIDEO_QUEUE_H
#define KORVA_QUEUE_VIDEO_QUEUE_H

#include <korva/core/export.h>

// Packed pictures from a producer to a consumer, who reads the oldest one
// into planes of its own element type, or a blank picture when none is
// queued. Frames come from a pool made once at the largest size a frame can
// need; a frame's count tells whether it is free (1) or out (2).

#include <korva/core/media_types.h>
#include <korva/queue/frame_queue.h>
#include <korva/video/dispatch.h>

class KORVA_API MMVideoQueue : public MMFrameQueue {
public:
    // Picks the input kernel for the format pair and the empty kernel for the
    // planes; either may be null for a pair or type without one, and the
    // pool is made on the first createVideoFrame.
    MMVideoQueue(int capacity, FourCCType packedFormat, FourCCType planarFormat, VideoDataType pixelType, int width,
                 int height, bool columnOrder, bool mmr = false);
    // Flushes, releases the pool's hold on every frame (a frame the caller
    // still holds lives on until its own Release), then tears down the rest.
    ~MMVideoQueue();

    // Makes the pool: capacity frames of the largest of the packed size, the
    // planes' size and `smallest` bytes. A second call loses the first pool.
    void createFrames(int smallest);
    // A free pool frame with a second hold for the producer, or null when the
    // queue stayed full for about a second, is closing, or no frame is free.
    VideoFrame* createVideoFrame();
    // The front frame into the planes, left in the queue; a blank picture
    // when the queue is empty.
    void copyVideoFrame(void* plane0, void* plane1, void* plane2);

private:
    VideoFrame** framePool = nullptr;
    FourCCType packedFormat;
    FourCCType planarFormat;
    VideoDataType pixelType;
    int32_t width;
    int32_t height;
    bool columnOrder;
    MMVideoInputFcn copyKernel;
    MMVideoEmptyFcn emptyKernel;
};

#endif
