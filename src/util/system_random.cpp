// SPDX-License-Identifier: GPL-3.0-or-later
// Random numbers from the system's source.
#include "util/system_random.hpp"

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace vocalink::util {

std::uint32_t system_random() {
    std::uint32_t value = 0;
    if (getentropy(&value, sizeof value) != 0) {
        throw std::system_error(errno, std::generic_category(), "getentropy");
    }
    return value;
}

} // namespace vocalink::util
