// SPDX-License-Identifier: GPL-3.0-or-later
// One POSIX thread.
#pragma once

#include <pthread.h>

namespace vocalink::util {

/** Starts a thread that blocks every signal, so that signals stay with the threads that had them.
 *  @return 0 or a system error number */
[[nodiscard]] int start_thread(pthread_t& handle, void* (*function)(void*), void* argument);

/** A thread that runs run(). Its owner starts it, asks it to stop and joins it before destroying
 *  it. It blocks every signal. */
class Thread {
  public:
    Thread() = default;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /** Ends the process with status 1 when the system refuses the thread. */
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
