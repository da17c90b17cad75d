// SPDX-License-Identifier: GPL-3.0-or-later
// Waits that always end.
#pragma once

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>
#include <thread>

#include <poll.h>

namespace vocalink::harness {

using std::chrono::milliseconds;

/** How long a wait may last before it counts as a failure, unless the caller says otherwise. Ample
 *  for a loaded machine with sanitizers: a wait that succeeds ends at once. */
inline constexpr milliseconds default_timeout{5000};

/** A moment after which a wait has failed. */
using deadline = std::chrono::steady_clock::time_point;

/** The deadline of a wait that begins now. */
[[nodiscard]] inline deadline ends_after(milliseconds timeout) {
    return std::chrono::steady_clock::now() + timeout;
}

/** Throws std::system_error with what was attempted and errno. */
[[noreturn]] inline void throw_system_error(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/** Waits until fd has input (or end of file, or an error to be read). Looks once in any case.
 *  @return false when the deadline passed first */
[[nodiscard]] inline bool wait_readable(int fd, deadline until) {
    pollfd waited{fd, POLLIN, 0};
    for (bool late = false; !late;) {
        const auto left = std::chrono::ceil<milliseconds>(until - ends_after(milliseconds(0)));
        late = left <= milliseconds(0);
        if (::poll(&waited, 1, late ? 0 : static_cast<int>(left.count())) > 0) {
            return true;
        }
    }
    return false;
}

/** Asks every few milliseconds, for what no descriptor announces.
 *  @return whether the condition held before the time was over */
template <class Condition>
[[nodiscard]] bool eventually(Condition condition, milliseconds timeout = default_timeout) {
    const deadline until = ends_after(timeout);
    while (!condition()) {
        if (ends_after(milliseconds(0)) >= until) {
            return condition();
        }
        std::this_thread::sleep_for(milliseconds(2));
    }
    return true;
}

} // namespace vocalink::harness
