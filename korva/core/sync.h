#ifndef KORVA_CORE_SYNC_H
#define KORVA_CORE_SYNC_H

#include <korva/core/export.h>

#include <cstdint>
#include <pthread.h>
#include <sys/time.h>
#include <time.h>

// The lock and the counting semaphore behind the frame queues, exported for
// callers' own threads too. Both wrap POSIX objects that must not move, so
// neither can be copied.

// A plain, non-recursive lock with default attributes.
class KORVA_API Mutex {
public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock();
    void unlock();
    // True when the lock was free and is now held by the caller.
    bool try_lock();

private:
    pthread_mutex_t mutex_;
};

// A counting semaphore with no upper limit. Its waits make a single pass over
// the condition, with no loop: a wake-up that finds no permit returns anyway,
// so callers re-check the state they waited for.
class KORVA_API Semaphore {
public:
    explicit Semaphore(int initialCount);
    ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    // Blocks while no permit is free, then takes one if there is one.
    void wait();
    // False when `ms` milliseconds of wall-clock time passed with no wake-up;
    // true when a permit was taken or the thread was woken without one.
    bool timed_wait(unsigned long ms);
    void post();
    // Drains every permit, then makes `n` free (none for n below 1). Not
    // atomic against posts and waits on other threads.
    void reset(int n);

private:
    pthread_mutex_t mutex_;
    pthread_cond_t posted_;
    int32_t count_;
};

namespace korva {
namespace detail {

// The absolute wall-clock moment `ms` milliseconds after `now`, as the
// semaphore's timed wait hands it to the condition.
timespec semaphoreDeadline(const timeval& now, unsigned long ms);

} // namespace detail
} // namespace korva

#endif
