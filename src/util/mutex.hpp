// SPDX-License-Identifier: GPL-3.0-or-later
// A mutex, its scoped holder and a condition, which clang's -Wthread-safety can follow.
#pragma once

#include <ctime>

#include <pthread.h>

#ifdef __clang__
#define VOCALINK_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define VOCALINK_THREAD_SAFETY(attribute)
#endif

/** After a data member: hold that mutex to read or write it. */
#define GUARDED_BY(mutex) VOCALINK_THREAD_SAFETY(guarded_by(mutex))
/** After a function's parameters: hold that mutex to call it. */
#define REQUIRES(mutex) VOCALINK_THREAD_SAFETY(requires_capability(mutex))

namespace vocalink::util {

/** Not recursive. Held through a scoped_lock. */
class VOCALINK_THREAD_SAFETY(capability("mutex")) mutex {
  public:
    mutex() = default;
    mutex(const mutex&) = delete;
    mutex& operator=(const mutex&) = delete;
    ~mutex() { pthread_mutex_destroy(&handle); }

    void lock() VOCALINK_THREAD_SAFETY(acquire_capability()) { pthread_mutex_lock(&handle); }
    void unlock() VOCALINK_THREAD_SAFETY(release_capability()) { pthread_mutex_unlock(&handle); }

  private:
    friend class condition;
    pthread_mutex_t handle = PTHREAD_MUTEX_INITIALIZER;
};

/** Holds a mutex from construction to the end of its scope. */
class VOCALINK_THREAD_SAFETY(scoped_lockable) scoped_lock {
  public:
    explicit scoped_lock(mutex& guarded) VOCALINK_THREAD_SAFETY(acquire_capability(guarded))
        : held(guarded) {
        held.lock();
    }
    scoped_lock(const scoped_lock&) = delete;
    scoped_lock& operator=(const scoped_lock&) = delete;
    ~scoped_lock() VOCALINK_THREAD_SAFETY(release_capability()) { held.unlock(); }

  private:
    mutex& held;
};

/** Lets a thread wait until another one signals. A wait may end without a signal, so check again. */
class condition {
  public:
    condition();
    condition(const condition&) = delete;
    condition& operator=(const condition&) = delete;
    ~condition() { pthread_cond_destroy(&handle); }

    void wait(mutex& held) REQUIRES(held) { pthread_cond_wait(&handle, &held.handle); }
    /** @param until  on the monotonic clock. @return false when that time has come */
    [[nodiscard]] bool wait_until(mutex& held, const std::timespec& until) REQUIRES(held);
    /** Wakes one waiting thread. */
    void signal() { pthread_cond_signal(&handle); }

  private:
    pthread_cond_t handle;
};

/** The monotonic time that many nanoseconds from now. */
[[nodiscard]] std::timespec monotonic_after(long long ns);

} // namespace vocalink::util
