#include <korva/queue/video_queue.h>

#include <algorithm>

MMVideoQueue::MMVideoQueue(int capacity, FourCCType packedFormat, FourCCType planarFormat, VideoDataType pixelType,
                           int width, int height, bool columnOrder, bool mmr)
    : MMFrameQueue(capacity), packedFormat(packedFormat), planarFormat(planarFormat), pixelType(pixelType),
      width(width), height(height), columnOrder(columnOrder),
      copyKernel(MM_GetVideoInputFcn(packedFormat, planarFormat, pixelType, mmr)),
      emptyKernel(MM_GetVideoEmptyFcn(planarFormat, pixelType)) {}

MMVideoQueue::~MMVideoQueue() {
    flushQueue();
    if (framePool) {
        for (int32_t i = 0; i < capacity; ++i) {
            framePool[i]->Release();
        }
        delete[] framePool;
    }
}

namespace {

// The products are those of the callers' 32-bit sizes, wrapping as they do.
int32_t wrap32(int64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }

} // namespace

void MMVideoQueue::createFrames(int smallest) {
    if (capacity == 0) {
        return;
    }
    framePool = new VideoFrame*[static_cast<size_t>(static_cast<int64_t>(capacity))];
    const int32_t packed = wrap32(packedFrameBytes(packedFormat, width, height));
    const int32_t planar = wrap32(int64_t(width) * height * videoDataTypeSize[pixelType] * planeCount(planarFormat));
    const int32_t frameBytes = std::max({planar, packed, static_cast<int32_t>(smallest)});
    for (int32_t i = 0; i < capacity; ++i) {
        framePool[i] = new VideoFrame;
        framePool[i]->init(nullptr, frameBytes, 0.0, 0.0);
    }
}

// No lock: the consumer's Release only turns a 2 into a 1, and only this
// thread turns a 1 into a 2. The acquiring load makes the consumer's last use
// of a frame come before the producer's next fill.
VideoFrame* MMVideoQueue::createVideoFrame() {
    if (!waitForSlot()) {
        return nullptr;
    }
    if (!framePool) {
        createFrames(0);
    }
    if (capacity == 0) {
        return nullptr;
    }
    for (int32_t i = 0; i < capacity; ++i) {
        VideoFrame* frame = framePool[i];
        if (frame->refCount.load(std::memory_order_acquire) == 1) {
            frame->refCount.store(2, std::memory_order_relaxed);
            return frame;
        }
    }
    return nullptr;
}

// The kernels run outside the lock; the frame stays queued.
void MMVideoQueue::copyVideoFrame(void* plane0, void* plane1, void* plane2) {
    if (MMFrame* frame = peekFront()) {
        copyKernel(frame->data, plane0, plane1, plane2, width, height, columnOrder);
    } else {
        emptyKernel(nullptr, plane0, plane1, plane2, width, height, columnOrder);
    }
}
