// SPDX-License-Identifier: GPL-3.0-or-later
// Waits that always end.
#include "harness/descriptor.hpp"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace vocalink::harness {

milliseconds deadline::left() const {
    const auto rest = std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now());
    return std::max(rest, milliseconds::zero());
}

bool wait_readable(int fd, const deadline& until) {
    pollfd waited{fd, POLLIN, 0};
    for (;;) {
        const int ready = ::poll(&waited, 1, static_cast<int>(until.left().count()));
        if (ready > 0) {
            return true;
        }
        if (ready < 0 && errno != EINTR) {
            throw_system_error("poll failed");
        }
        if (ready == 0 && until.passed()) {
            return false;
        }
    }
}

void throw_system_error(const std::string& what) {
    throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

} // namespace vocalink::harness
