#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <future>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

#include <korva/korva.h>

namespace {

// Takes every free permit without blocking and says how many there were.
int drain(Semaphore& semaphore) {
    int taken = 0;
    while (semaphore.timed_wait(0)) {
        ++taken;
    }
    return taken;
}

// True while thread `tid` sleeps in a futex call on a word inside `object`,
// that is, parked on the semaphore's condition (its mutex is never contended
// in these tests).
bool sleepsOn(pid_t tid, const void* object, size_t size) {
    std::ifstream in("/proc/self/task/" + std::to_string(tid) + "/syscall");
    long number = -1;
    std::string address;
    if (!(in >> number >> address) || number != SYS_futex) {
        return false;
    }
    const auto word = static_cast<uintptr_t>(std::stoull(address, nullptr, 16));
    const auto begin = reinterpret_cast<uintptr_t>(object);
    return word >= begin && word < begin + size;
}

// Runs `waitOnce` on a second thread and returns once that thread is parked on
// `semaphore` (or has already returned, which `done` then shows).
template <typename F> std::future<bool> startBlockedWaiter(Semaphore& semaphore, F waitOnce) {
    std::atomic<pid_t> tid{0};
    auto result = std::async(std::launch::async, [&tid, waitOnce] {
        tid = static_cast<pid_t>(syscall(SYS_gettid));
        return waitOnce();
    });
    while (tid == 0 || (!sleepsOn(tid, &semaphore, sizeof semaphore) &&
                        result.wait_for(std::chrono::seconds(0)) != std::future_status::ready)) {
        std::this_thread::yield();
    }
    return result;
}

TEST(SemaphoreDeadline, AddsMillisecondsToTheWallClockReading) {
    struct Case { timeval now; unsigned long ms; time_t sec; long nsec; };
    const Case cases[] = {
        {{100, 600000}, 1500, 102, 100000000}, // the nanoseconds carry once
        {{100, 0}, 0, 100, 0},                  // the moment of the reading itself
        {{100, 999999}, 1, 101, 999000},
        {{100, 123}, 999, 100, 999123000},
        {{5, 400000}, 60000, 65, 400000000},
    };
    for (const Case& c : cases) {
        const timespec deadline = korva::detail::semaphoreDeadline(c.now, c.ms);
        EXPECT_EQ(deadline.tv_sec, c.sec) << c.ms << " ms";
        EXPECT_EQ(deadline.tv_nsec, c.nsec) << c.ms << " ms";
    }
}

TEST(Semaphore, CountsPermits) {
    Semaphore three(3);
    EXPECT_TRUE(three.timed_wait(0));
    EXPECT_EQ(drain(three), 2);
    EXPECT_FALSE(three.timed_wait(0));

    Semaphore unbounded(0);
    for (int i = 0; i < 1000; ++i) {
        unbounded.post();
    }
    unbounded.wait();
    EXPECT_EQ(drain(unbounded), 999);
}

TEST(Semaphore, ResetDrainsThenPosts) {
    struct Case { int initial; int n; int expected; };
    const Case cases[] = {{3, 0, 0}, {5, 2, 2}, {0, 4, 4}, {2, -3, 0}};
    for (const Case& c : cases) {
        Semaphore semaphore(c.initial);
        semaphore.reset(c.n);
        EXPECT_EQ(drain(semaphore), c.expected) << c.initial << " reset to " << c.n;
    }
}

TEST(Semaphore, PostReleasesABlockedWaiter) {
    Semaphore semaphore(0);
    auto waiter = startBlockedWaiter(semaphore, [&] { semaphore.wait(); return true; });
    ASSERT_EQ(waiter.wait_for(std::chrono::seconds(0)), std::future_status::timeout) << "wait did not block";
    semaphore.post();
    waiter.get();
    EXPECT_EQ(drain(semaphore), 0);
}

TEST(Semaphore, TimedWaitReturnsTrueWhenPosted) {
    Semaphore semaphore(0);
    auto waiter = startBlockedWaiter(semaphore, [&] { return semaphore.timed_wait(600000); });
    ASSERT_EQ(waiter.wait_for(std::chrono::seconds(0)), std::future_status::timeout) << "timed_wait did not block";
    semaphore.post();
    EXPECT_TRUE(waiter.get());
    EXPECT_EQ(drain(semaphore), 0);
}

TEST(Semaphore, TimedWaitTimesOutWithoutAPost) {
    Semaphore semaphore(0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(semaphore.timed_wait(50));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
}

// The waiter is woken and this thread grabs the permit straight after the
// post, before the waiter gets the lock back, in most rounds. Either way the
// waiter must come back, with the count at 0: the waits have no loop to send
// it back to sleep.
TEST(Semaphore, AWaiterThatLosesThePermitStillReturns) {
    for (bool timed : {false, true}) {
        for (int round = 0; round < 20; ++round) {
            Semaphore semaphore(0);
            auto waiter = startBlockedWaiter(semaphore, [&] {
                if (timed) {
                    return semaphore.timed_wait(600000);
                }
                semaphore.wait();
                return true;
            });
            semaphore.post();
            semaphore.timed_wait(0);
            if (waiter.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
                semaphore.post();
                FAIL() << (timed ? "timed_wait" : "wait") << " went back to sleep without the permit";
            }
            EXPECT_TRUE(waiter.get()) << "a wake-up counts as success";
            EXPECT_EQ(drain(semaphore), 0);
        }
    }
}

TEST(Mutex, TryLockFailsWhileAnotherThreadHoldsIt) {
    Mutex mutex;
    mutex.lock();
    EXPECT_FALSE(mutex.try_lock()) << "not recursive";
    EXPECT_FALSE(std::async(std::launch::async, [&] { return mutex.try_lock(); }).get());
    mutex.unlock();
    EXPECT_TRUE(std::async(std::launch::async, [&] {
        const bool locked = mutex.try_lock();
        if (locked) {
            mutex.unlock();
        }
        return locked;
    }).get());
}

} // namespace
