// SPDX-License-Identifier: GPL-3.0-or-later
// One POSIX thread, and a scoped holder of a mutex.
#include "util/thread.hpp"

#include "util/log_line.hpp"

#include <csignal>

namespace vocalink::util {

void Thread::start() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int error = pthread_create(&handle, nullptr, &Thread::_pthread_main, this);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    running = error == 0;
    if (!running) {
        log_line("main") << "could not start a worker: " << error_text(error);
    }
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
