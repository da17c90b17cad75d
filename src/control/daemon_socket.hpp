// SPDX-License-Identifier: GPL-3.0-or-later
// The client's end of a daemon's control socket.
#pragma once

#include "util/unique_fd.hpp"

#include <cstddef>

namespace vocalink {

/** Connects to a daemon. Logs why it cannot and ends the process with status 1.
 *  @param path  cut to 107 bytes */
[[nodiscard]] util::unique_fd connect_to_daemon(const char* path);

/** Writes all of it, waiting for a reader that is slow. @return false with errno */
[[nodiscard]] bool write_all(int to, const char* block, std::size_t bytes);

} // namespace vocalink
