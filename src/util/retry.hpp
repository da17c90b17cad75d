// SPDX-License-Identifier: GPL-3.0-or-later
// System calls that a signal may interrupt.
#pragma once

#include <cerrno>

namespace vocalink::util {

/** Repeats a system call while a signal interrupts it. @return its result, with errno */
template <class Call>
auto retry_on_signal(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace vocalink::util
