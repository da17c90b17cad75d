// SPDX-License-Identifier: GPL-3.0-or-later
// The client's end of a daemon's control socket.
#include "control/daemon_socket.hpp"

#include "util/log_line.hpp"
#include "util/retry.hpp"

#include <cstdlib>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vocalink {

namespace {

[[noreturn]] void fatal(const char* what) {
    const int error = errno;
    util::log_line("remote") << "fatal error" << what << util::error_text(error);
    std::exit(1);
}

} // namespace

util::unique_fd connect_to_daemon(const char* path) {
    util::unique_fd connected(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!connected) {
        fatal(" creating remote socket:");
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    if (::connect(connected.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
        0) {
        fatal(" connecting to remote socket: ");
    }
    return connected;
}

bool write_all(int to, const char* block, std::size_t bytes) {
    while (bytes > 0) {
        const ssize_t written = util::retry_on_signal([&] { return ::write(to, block, bytes); });
        if (written >= 0) {
            block += written;
            bytes -= static_cast<std::size_t>(written);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            pollfd writable{to, POLLOUT, 0};
            ::poll(&writable, 1, -1);
        } else {
            return false;
        }
    }
    return true;
}

} // namespace vocalink
