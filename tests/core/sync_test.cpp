#include <gtest/gtest.h>
#include <chrono>
#include <future>
#include <korva/korva.h>

namespace {
int drain(Semaphore& semaphore) { // takes every free permit without blocking
    int taken = 0;
    while (semaphore.timed_wait(0)) ++taken;
    return taken;
}
} // namespace

TEST(Semaphore, DeadlinesPermitCountsAndReset) {
    struct Deadline { timeval now; unsigned long ms; time_t sec; long nsec; };
    for (const Deadline& d : {Deadline{{100, 600000}, 1500, 102, 100000000}, Deadline{{100, 0}, 0, 100, 0},
                              Deadline{{100, 999999}, 1, 101, 999000}, Deadline{{5, 400000}, 60000, 65, 400000000}}) {
        const timespec deadline = korva::detail::semaphoreDeadline(d.now, d.ms);
        EXPECT_TRUE(deadline.tv_sec == d.sec && deadline.tv_nsec == d.nsec) << d.ms << " ms";
    }
    Semaphore three(3), unbounded(0);
    for (int i = 0; i < 1000; ++i) unbounded.post();
    unbounded.wait();
    EXPECT_TRUE(drain(three) == 3 && drain(unbounded) == 999);
    struct Case { int initial, n, expected; };
    for (const Case& c : {Case{3, 0, 0}, Case{5, 2, 2}, Case{0, 4, 4}, Case{2, -3, 0}}) {
        Semaphore semaphore(c.initial);
        semaphore.reset(c.n);
        EXPECT_EQ(drain(semaphore), c.expected) << c.initial << " reset to " << c.n;
    }
}

TEST(Sync, PostWakesAWaiterTimedWaitEndsAndTryLockFailsWhileHeld) {
    for (bool timed : {false, true}) {
        Semaphore semaphore(0);
        auto waiter = std::async(std::launch::async, [&] {
            return timed ? semaphore.timed_wait(600000) : (semaphore.wait(), true);
        });
        ASSERT_EQ(waiter.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout) << "did not block";
        semaphore.post();
        EXPECT_TRUE(waiter.get()) << (timed ? "timed_wait" : "wait");
        EXPECT_EQ(drain(semaphore), 0);
    }
    Semaphore semaphore(0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(semaphore.timed_wait(50));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
    Mutex mutex; // try_lock fails while another thread, or this one, holds it
    mutex.lock();
    EXPECT_FALSE(mutex.try_lock()) << "not recursive";
    EXPECT_FALSE(std::async(std::launch::async, [&] { return mutex.try_lock(); }).get());
    mutex.unlock();
    EXPECT_TRUE(std::async(std::launch::async, [&] { return mutex.try_lock() && (mutex.unlock(), true); }).get());
}
