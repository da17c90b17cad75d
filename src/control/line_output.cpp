// SPDX-License-Identifier: GPL-3.0-or-later
// Lines to a controller, written without ever waiting for it to read them.
#include "control/line_output.hpp"

#include "util/retry.hpp"

#include <cerrno>
#include <chrono>
#include <utility>

#include <sys/socket.h>

namespace vocalink {

namespace {

/** @return how many bytes need no further attempt: those sent, or all when the socket is broken */
std::size_t send_now(int fd, std::string_view text) {
    const ssize_t sent = util::retry_on_signal(
        [&] { return ::send(fd, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL); });
    if (sent >= 0) {
        return static_cast<std::size_t>(sent);
    }
    return errno == EAGAIN || errno == EWOULDBLOCK ? 0 : text.size();
}

} // namespace

line_output::line_output(int socket, command_turns& shared_turns)
    : turns(shared_turns), fd(socket) {
    watcher.set<line_output, &line_output::handle_writable>(this);
    watcher.priority = command_turns::watcher_priority;
}

void line_output::write(std::string_view text) {
    if (backlog.empty()) {
        text.remove_prefix(send_now(fd, text));
    }
    if (!text.empty()) {
        backlog += text;
        watcher.start(fd, ev::WRITE);
    }
}

void line_output::handle_writable(ev::io&, int) {
    if (!turns.has_time()) {
        return; // the socket stays writable
    }
    const auto begin = std::chrono::steady_clock::now();
    sent_bytes += send_now(fd, std::string_view(backlog).substr(sent_bytes));
    if (sent_bytes >= backlog.size() / 2) { // moves each byte only once
        backlog.erase(0, std::exchange(sent_bytes, 0));
    }
    turns.spend(std::chrono::steady_clock::now() - begin);
    if (backlog.empty()) {
        backlog.shrink_to_fit();
        watcher.stop();
        drained.emit();
    }
}

} // namespace vocalink
