#ifndef KORVA_TESTS_QUEUE_PROBE_H
#define KORVA_TESTS_QUEUE_PROBE_H

// The queues with their common part opened up for the tests.

#include <korva/korva.h>

#include <chrono>

template <class Queue> struct Probe : Queue {
    using Queue::Queue;
    using Queue::framesAvailable;
    using Queue::sharedLock;
    using Queue::sharedUnlock;
    using Queue::slotsFree;
};

// Takes every stored permit without blocking and says how many there were.
inline int drain(Semaphore& semaphore) {
    int taken = 0;
    while (semaphore.timed_wait(0)) ++taken;
    return taken;
}

template <class Body> double secondsOf(Body&& body) {
    const auto start = std::chrono::steady_clock::now();
    body();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

#endif
