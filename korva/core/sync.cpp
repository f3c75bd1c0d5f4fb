#include <korva/core/sync.h>

// POSIX results are not looked at, except for the try-lock and the timed
// condition wait whose answers are the point of the call: with default
// attributes the others can only fail on misuse.

namespace {

void initDefaultMutex(pthread_mutex_t* mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

} // namespace

Mutex::Mutex() { initDefaultMutex(&mutex_); }

Mutex::~Mutex() { pthread_mutex_destroy(&mutex_); }

void Mutex::lock() { pthread_mutex_lock(&mutex_); }

void Mutex::unlock() { pthread_mutex_unlock(&mutex_); }

bool Mutex::try_lock() { return pthread_mutex_trylock(&mutex_) == 0; }

namespace korva {
namespace detail {

timespec semaphoreDeadline(const timeval& now, unsigned long ms) {
    timespec deadline;
    deadline.tv_sec = now.tv_sec + static_cast<time_t>(ms / 1000);
    // Both terms are below 1e9, so one carry brings the sum back in range.
    deadline.tv_nsec = static_cast<long>(ms % 1000) * 1000000L + static_cast<long>(now.tv_usec) * 1000L;
    if (deadline.tv_nsec > 999999999L) {
        deadline.tv_nsec -= 1000000000L;
        deadline.tv_sec += 1;
    }
    return deadline;
}

} // namespace detail
} // namespace korva

Semaphore::Semaphore(int initialCount) : count_(initialCount) {
    initDefaultMutex(&mutex_);
    pthread_cond_init(&posted_, nullptr);
}

Semaphore::~Semaphore() {
    pthread_mutex_destroy(&mutex_);
    pthread_cond_destroy(&posted_);
}

// One pass over the condition, no loop: a waiter that loses the permit to a
// newer arrival returns empty-handed and its caller looks again.
void Semaphore::wait() {
    pthread_mutex_lock(&mutex_);
    if (count_ == 0) {
        pthread_cond_wait(&posted_, &mutex_);
    }
    if (count_ != 0) {
        --count_;
    }
    pthread_mutex_unlock(&mutex_);
}

bool Semaphore::timed_wait(unsigned long ms) {
    // The deadline is taken before the lock, on the wall clock that the
    // condition uses by default.
    timeval now;
    gettimeofday(&now, nullptr);
    const timespec deadline = korva::detail::semaphoreDeadline(now, ms);

    pthread_mutex_lock(&mutex_);
    if (count_ != 0) {
        --count_;
        pthread_mutex_unlock(&mutex_);
        return true;
    }
    if (pthread_cond_timedwait(&posted_, &mutex_, &deadline) != 0) {
        pthread_mutex_unlock(&mutex_);
        return false;
    }
    // Woken: take a permit if one is still there, and report the wake-up
    // either way.
    if (count_ != 0) {
        --count_;
    }
    pthread_mutex_unlock(&mutex_);
    return true;
}

void Semaphore::post() {
    pthread_mutex_lock(&mutex_);
    ++count_;
    pthread_cond_signal(&posted_);
    pthread_mutex_unlock(&mutex_);
}

void Semaphore::reset(int n) {
    while (timed_wait(0)) {
    }
    for (int i = 0; i < n; ++i) {
        post();
    }
}
