// SPDX-License-Identifier: GPL-3.0-or-later
// One POSIX thread.
#include "util/thread.hpp"

#include "util/fatal_error.hpp"

#include <csignal>

namespace vocalink::util {

int start_thread(pthread_t& handle, void* (*function)(void*), void* argument) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int error = pthread_create(&handle, nullptr, function, argument);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

void Thread::start() {
    // Without its worker the daemon would queue requests for ever.
    if (const int error = start_thread(handle, &Thread::_pthread_main, this); error != 0) {
        fatal_error(error, " starting a worker: ");
    }
    running = true;
}

void Thread::join() {
    if (running) {
        pthread_join(handle, nullptr);
        running = false;
    }
}

void* Thread::_pthread_main(void* thread) {
    static_cast<Thread*>(thread)->run();
    return nullptr;
}

} // namespace vocalink::util
