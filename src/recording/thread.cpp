// SPDX-License-Identifier: GPL-3.0-or-later
// One POSIX thread, and a scoped holder of a mutex.
#include "recording/thread.hpp"

#include <csignal>

namespace vocalink {

void Thread::start() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_create(&handle, nullptr, &Thread::_pthread_main, this);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void Thread::join() {
    pthread_join(handle, nullptr);
}

void* Thread::_pthread_main(void* thread) {
    static_cast<Thread*>(thread)->run();
    return nullptr;
}

} // namespace vocalink
