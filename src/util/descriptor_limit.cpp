// SPDX-License-Identifier: GPL-3.0-or-later
// How many descriptors the process may have.
#include "util/descriptor_limit.hpp"

#include "util/log_line.hpp"

#include <cerrno>

#include <sys/resource.h>

namespace vocalink::util {

void raise_descriptor_limit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        if (::setrlimit(RLIMIT_NOFILE, &limit) == 0) {
            return;
        }
    }
    log_line("main") << "could not raise the descriptor limit: " << error_text(errno);
}

} // namespace vocalink::util
