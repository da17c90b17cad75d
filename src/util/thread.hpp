// SPDX-License-Identifier: GPL-3.0-or-later
// One POSIX thread, and a scoped holder of a mutex.
#pragma once

#include <pthread.h>

namespace vocalink::util {

/** Holds a mutex from construction to the end of its scope. */
class Lock {
  public:
    explicit Lock(pthread_mutex_t& guarded) : mutex(guarded) { pthread_mutex_lock(&mutex); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock() { pthread_mutex_unlock(&mutex); }

  private:
    pthread_mutex_t& mutex;
};

/** A thread that runs run(). Its owner starts it, asks it to stop and joins it before destroying
 *  it. Signals stay with the threads that had them: a started thread blocks them all. */
class Thread {
  public:
    Thread() = default;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    virtual void start();
    virtual void stop() {}
    virtual void run() = 0;

    /** Waits for the thread to end. */
    void join();

  protected:
    ~Thread() = default;

  private:
    static void* _pthread_main(void* thread);

    pthread_t handle{};
    bool running = false; // started and not yet joined; its owner's
};

} // namespace vocalink::util
