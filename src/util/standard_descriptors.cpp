// SPDX-License-Identifier: GPL-3.0-or-later
// The descriptors that every process is expected to have.
#include "util/standard_descriptors.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace vocalink::util {

void open_missing_standard_descriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (::fcntl(fd, F_GETFD) < 0) {
            // Takes the lowest free number, which is this one. Children inherit it like the others.
            [[maybe_unused]] const int opened = ::open("/dev/null", O_RDWR);
        }
    }
}

} // namespace vocalink::util
