// SPDX-License-Identifier: GPL-3.0-or-later
// A condition that waits on the monotonic clock.
#include "util/mutex.hpp"

#include <cerrno>

namespace vocalink::util {

condition::condition() {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&handle, &attributes);
    pthread_condattr_destroy(&attributes);
}

bool condition::wait_until(mutex& held, const std::timespec& until) {
    return pthread_cond_timedwait(&handle, &held.handle, &until) != ETIMEDOUT;
}

std::timespec monotonic_after(long long ns) {
    constexpr long long ns_per_second = 1'000'000'000;
    std::timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    const long long sum = time.tv_nsec + ns;
    time.tv_sec += sum / ns_per_second;
    time.tv_nsec = sum % ns_per_second;
    return time;
}

} // namespace vocalink::util
