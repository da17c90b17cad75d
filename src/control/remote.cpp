// SPDX-License-Identifier: GPL-3.0-or-later
// The client mode: relays the terminal to a running daemon and back.
#include "control/remote.hpp"

#include "control/daemon_socket.hpp"
#include "util/log_line.hpp"
#include "util/retry.hpp"

#include <cerrno>
#include <cstdio>

#include <sys/socket.h>
#include <unistd.h>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

constexpr std::size_t buffer_bytes = 262144;

} // namespace

remote::remote(const char* path) : buffer(buffer_bytes) {
    log_line("remote") << "connecting to socket file " << path;
    socket = connect_to_daemon(path);
    stdin_watcher.set<remote, &remote::handle_stdin>(this);
    stdin_watcher.start(STDIN_FILENO, ev::READ);
    socket_writable_watcher.set<remote, &remote::handle_socket_writable>(this);
    socket_watcher.set<remote, &remote::handle_remote>(this);
    socket_watcher.start(socket.get(), ev::READ);
}

int remote::run() {
    log_line("remote") << "ready.";
    ev_run(ev_default_loop(0), 0);
    log_line("remote") << "shutdown complete.";
    return exit_status;
}

void remote::stop(int status) {
    log_line("remote") << "shutting down";
    stdin_watcher.stop();
    socket_watcher.stop();
    socket_writable_watcher.stop();
    exit_status = status;
}

void remote::handle_stdin(ev::io&, int) {
    const std::size_t bytes = read_block(STDIN_FILENO);
    if (bytes > 0) {
        unsent.assign(buffer.data(), bytes);
        send_unsent();
    }
}

void remote::handle_remote(ev::io&, int) {
    const std::size_t bytes = read_block(socket.get());
    if (bytes == 0) {
        return;
    }
    if (!write_all(STDOUT_FILENO, buffer.data(), bytes)) {
        report_write_error(STDOUT_FILENO);
        return;
    }
    std::fflush(nullptr);
}

std::size_t remote::read_block(int from) {
    const ssize_t received =
        util::retry_on_signal([&] { return ::read(from, buffer.data(), buffer.size()); });
    if (received < 0) {
        const int error = errno;
        log_line() << "remote: error reading from fd " << from << ": " << error_text(error);
        stop(-1);
        return 0;
    }
    if (received == 0) {
        log_line("remote") << "EOF from fd " << from;
        stop(0);
    }
    return static_cast<std::size_t>(received);
}

void remote::handle_socket_writable(ev::io&, int) {
    send_unsent();
}

/** Sends what the daemon takes. It takes no commands while its replies are not read, so waiting for it
 *  here would be waiting for ourselves: the terminal's input waits instead. */
void remote::send_unsent() {
    while (!unsent.empty()) {
        const ssize_t sent = util::retry_on_signal(
            [this] { return ::send(socket.get(), unsent.data(), unsent.size(), MSG_DONTWAIT); });
        if (sent > 0) {
            unsent.erase(0, static_cast<std::size_t>(sent));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            stdin_watcher.stop();
            socket_writable_watcher.start(socket.get(), ev::WRITE);
            return;
        } else {
            report_write_error(socket.get());
            unsent.clear();
        }
    }
    socket_writable_watcher.stop();
    stdin_watcher.start();
}

void remote::report_write_error(int to) {
    const int error = errno;
    log_line() << "remote: error writing to fd " << to << ": " << error_text(error);
}

} // namespace vocalink
