// SPDX-License-Identifier: GPL-3.0-or-later
// One line of diagnostics on standard error, written whole.
#include "util/log_line.hpp"

#include <cerrno>
#include <system_error>

#include <poll.h>
#include <unistd.h>

namespace vocalink::util {

namespace {

// A log that was set to non-blocking may be full for a moment; a broken-off line is worse.
constexpr int patience_ms = 10;

} // namespace

log_line::log_line(std::string_view component) {
    text.append("-- ").append(component).append(": ");
}

log_line::log_line(std::string_view component, std::string_view id) {
    text.append("-- ").append(component).append("(").append(id).append("): ");
}

log_line::~log_line() {
    const int kept_errno = errno; // a line about an error must not change it for the code that logs
    text += '\n';
    std::string_view rest = text;
    while (!rest.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            pollfd writable{STDERR_FILENO, POLLOUT, 0};
            if (::poll(&writable, 1, patience_ms) == 1) {
                continue;
            }
        }
        if (written <= 0) {
            break; // nobody reads the log; the calls go on
        }
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
    errno = kept_errno;
}

std::string error_text(int error_number) {
    return std::generic_category().message(error_number);
}

} // namespace vocalink::util
