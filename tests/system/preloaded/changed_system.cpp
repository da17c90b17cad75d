// SPDX-License-Identifier: GPL-3.0-or-later
// A library to be preloaded into the daemon: a wall clock that is set while it runs, and threads that
// the system refuses.
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

/** An hour, once there is a file of the name in the environment. */
std::time_t step_s() {
    const int kept_errno = errno;
    const char* const file = std::getenv("VOCALINK_TEST_CLOCK_STEP");
    const bool stepped = file != nullptr && ::access(file, F_OK) == 0;
    errno = kept_errno;
    return stepped ? 3600 : 0;
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    now->tv_sec += clock == CLOCK_REALTIME ? step_s() : 0;
    return result;
}

int gettimeofday(timeval* now, void*) noexcept {
    timespec exact{};
    const int result = clock_gettime(CLOCK_REALTIME, &exact);
    *now = {exact.tv_sec, exact.tv_nsec / 1000};
    return result;
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                   void* argument) noexcept {
    static int left = -1;
    if (const char* const allowed = std::getenv("VOCALINK_TEST_THREADS"); allowed != nullptr) {
        left = left < 0 ? std::atoi(allowed) : left;
        if (left-- == 0) {
            return EAGAIN;
        }
    }
    static const auto create =
        reinterpret_cast<decltype(&pthread_create)>(::dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, run, argument);
}

} // extern "C"
