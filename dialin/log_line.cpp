// SPDX-License-Identifier: GPL-3.0-or-later
// One line of the front end's log.
#include "log_line.hpp"

#include <cerrno>
#include <climits>
#include <system_error>

#include <poll.h>
#include <unistd.h>

namespace vocalink::dialin {

namespace {

std::size_t dropped_lines = 0;

// A pipe that polls as writable takes PIPE_BUF bytes at once; longer lines are cut to that.
bool write_at_once(std::string_view line) {
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    return ::poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0 &&
           ::write(STDERR_FILENO, line.data(), line.size()) > 0;
}

} // namespace

log_line::~log_line() {
    const int kept_errno = errno; // a line about an error must not change it
    if (dropped_lines > 0 &&
        write_at_once("-- log: " + std::to_string(dropped_lines) + " lines dropped\n")) {
        dropped_lines = 0;
    }
    text.resize(std::min<std::size_t>(text.size(), PIPE_BUF - 1));
    text += '\n';
    if (!write_at_once(text)) {
        ++dropped_lines;
    }
    errno = kept_errno;
}

std::string error_text(int error_number) {
    return std::generic_category().message(error_number);
}

} // namespace vocalink::dialin
