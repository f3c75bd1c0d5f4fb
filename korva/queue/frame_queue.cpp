#include <korva/queue/frame_queue.h>

MMFrameQueue::MMFrameQueue(int capacity)
    : capacity(capacity), readerCount(0), frames(CachingAllocator<MMFrame*>(&nodeCache)), framesAvailable(0),
      slotsFree(0) {
    pthread_mutex_init(&gateMutex, nullptr);
    pthread_mutex_init(&resourceMutex, nullptr);
}

// The mutexes stay: nothing may be inside the queue by now, and a default
// mutex holds nothing to give back.
MMFrameQueue::~MMFrameQueue() { flushQueue(); }

void MMFrameQueue::sharedLock() {
    pthread_mutex_lock(&gateMutex);
    if (readerCount != 0) {
        ++readerCount;
        pthread_mutex_unlock(&gateMutex);
        return;
    }
    // Never block on resourceMutex while holding the gate.
    pthread_mutex_unlock(&gateMutex);
    pthread_mutex_lock(&resourceMutex);
    pthread_mutex_lock(&gateMutex);
    ++readerCount;
    pthread_mutex_unlock(&gateMutex);
}

void MMFrameQueue::sharedUnlock() {
    pthread_mutex_lock(&gateMutex);
    if (--readerCount == 0) {
        pthread_mutex_unlock(&resourceMutex);
    }
    pthread_mutex_unlock(&gateMutex);
}

MMFrame* MMFrameQueue::peekFront() {
    sharedLock();
    MMFrame* front = frames.empty() ? nullptr : frames.front();
    sharedUnlock();
    return front;
}

// Changes the list in shared mode, which is safe only because there is a
// single consumer: the exclusive holder (enqueueFrame) is kept out.
MMFrame* MMFrameQueue::removeFront() {
    sharedLock();
    if (frames.empty()) {
        sharedUnlock();
        return nullptr;
    }
    MMFrame* front = frames.front();
    frames.pop_front();
    frameCount.store(frameCount.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
    slotsFree.post();
    sharedUnlock();
    return front;
}

void MMFrameQueue::releaseFront() {
    sharedLock();
    if (MMFrame* front = removeFront()) {
        front->Release();
    }
    sharedUnlock();
}

void MMFrameQueue::flushQueue() {
    sharedLock();
    while (MMFrame* front = removeFront()) {
        front->Release();
    }
    framesAvailable.reset(0);
    slotsFree.reset(0);
    sharedUnlock();
}

// Exclusive: a concurrent peek must see the whole list. The permit that the
// last removal posted goes with the new frame, so that slotsFree counts the
// room made since and a full queue's wait really sleeps.
void MMFrameQueue::enqueueFrame(MMFrame* frame) {
    pthread_mutex_lock(&resourceMutex);
    frames.push_back(frame);
    frameCount.store(frameCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    pthread_mutex_unlock(&resourceMutex);
    slotsFree.timed_wait(0);
    framesAvailable.post();
}

void MMFrameQueue::setClosing(bool value) { closing.store(value, std::memory_order_relaxed); }

int MMFrameQueue::queuedFrames() { return frameCount.load(std::memory_order_relaxed); }

// Reads the size and the flag with no lock: a stale value costs one round.
// The budget counts rounds, not time: a round that finds a stored permit
// costs its 10 without sleeping.
bool MMFrameQueue::waitForSlot() {
    int32_t queued = frameCount.load(std::memory_order_relaxed);
    if (queued == capacity) {
        if (closing.load(std::memory_order_relaxed)) {
            return false;
        }
        int budget = 1000;
        for (;;) {
            budget -= 10;
            slotsFree.timed_wait(10);
            queued = frameCount.load(std::memory_order_relaxed);
            if (queued != capacity) {
                break;
            }
            if (closing.load(std::memory_order_relaxed) || budget < 1) {
                return false;
            }
        }
    }
    return queued < capacity;
}
