#ifndef KORVA_QUEUE_FRAME_QUEUE_H
#define KORVA_QUEUE_FRAME_QUEUE_H

#include <korva/core/export.h>

// What the audio and the video queue share: a bounded list of frames handed
// from one producing thread to one consuming thread, a lock with a shared
// mode for the consumer and an exclusive one for changes of the list's shape,
// and the producer's bounded wait for room.

#include <korva/core/frames.h>
#include <korva/core/sync.h>
#include <korva/queue/node_cache.h>

#include <atomic>
#include <cstdint>
#include <list>
#include <pthread.h>

class KORVA_API MMFrameQueue {
public:
    // Appends a frame at the back and takes over the caller's hold on it.
    void enqueueFrame(MMFrame* frame);
    // Removes the front frame, if any, and gives up the queue's hold on it.
    void releaseFront();
    // Releases every queued frame and leaves both semaphores at 0.
    void flushQueue();
    // While set, a producer that finds the queue full gets no frame at once.
    void setClosing(bool closing);
    // Frames in the list now; another thread may change it at any moment.
    int queuedFrames();

protected:
    explicit MMFrameQueue(int capacity);
    // Flushes again (the derived queues flush first), then the semaphores go,
    // slotsFree first, and last the list's nodes.
    ~MMFrameQueue();
    MMFrameQueue(const MMFrameQueue&) = delete;
    MMFrameQueue& operator=(const MMFrameQueue&) = delete;

    // The consumer's lock: the first holder in takes resourceMutex for the
    // group, the last one out gives it back. One thread may nest it.
    void sharedLock();
    void sharedUnlock();

    MMFrame* peekFront();
    // The front frame out of the list, with the queue's hold, or null.
    MMFrame* removeFront();
    // The producer's wait for room: up to 100 rounds of a 10 ms wait on
    // slotsFree. True when there is room for a frame.
    bool waitForSlot();

    int32_t capacity;
    pthread_mutex_t gateMutex;
    pthread_mutex_t resourceMutex;
    int32_t readerCount;
    // Before the list, so that it outlives the list's nodes.
    NodeCache nodeCache;
    std::list<MMFrame*, CachingAllocator<MMFrame*>> frames;
    std::atomic<bool> closing{false};
    Semaphore framesAvailable;
    Semaphore slotsFree;

private:
    // The list's size, kept beside it under the same lock, for the readers
    // that look without a lock (the wait for room, queuedFrames).
    std::atomic<int32_t> frameCount{0};
};

#endif
