// SPDX-License-Identifier: GPL-3.0-or-later
// The connection to the daemon's control socket: commands in order, their replies, notices.
#include "control_link.hpp"

#include "log_line.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>

#include <sys/socket.h>
#include <sys/un.h>

namespace vocalink::dialin {

namespace {

constexpr unsigned first_pause_ms = 250;
constexpr unsigned longest_pause_ms = 15'000;
// The daemon takes the end of what it reads at once, 16,384 bytes, for the end of a line.
constexpr std::size_t most_unanswered_bytes = 16'000;
// A daemon that stands still costs this much and no more; then the link counts as lost.
constexpr std::size_t most_waiting_bytes = 1 << 20;
constexpr std::size_t longest_line_bytes = 1 << 20;
constexpr std::chrono::seconds stall{3}; // less than a caller waits

// What follows a word and a blank, or nothing when the line begins otherwise.
std::optional<std::string_view> after(std::string_view line, std::string_view word) {
    if (!line.starts_with(word) || (line.size() > word.size() && line[word.size()] != ' ')) {
        return std::nullopt;
    }
    return line.substr(std::min(line.size(), word.size() + 1));
}

} // namespace

control_link::control_link(event_loop& event_loop, std::string socket_path, link_listener& owner)
    : loop(event_loop), path(std::move(socket_path)), listener(owner),
      reconnect(event_loop, [this] { connect(); }),
      closing(event_loop, [this] { close_and_wait(); }), pause_ms(first_pause_ms) {
    connect();
}

bool control_link::stalled() const {
    const auto& oldest = sent.empty() ? ready : sent;
    return !oldest.empty() && std::chrono::steady_clock::now() - oldest.front().queued >= stall;
}

void control_link::connect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    socket.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket ||
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        lose(error_text(errno));
        return;
    }
    lost = false;
    reader = std::make_unique<watch>(loop, socket.get(), SU_WAIT_IN, [this](int) { readable(); });
}

void control_link::lose(std::string_view reason) {
    if (!reported) {
        log_line("daemon") << "no connection to " << path << ": " << reason;
        reported = true;
    }
    const bool was_up = std::exchange(greeted, false);
    lost = true;
    if (reader) {
        reader->wait_for(0);
    }
    sent.clear();
    ready.clear();
    sent_bytes = ready_bytes = 0;
    input.clear();
    closing.start(0);
    if (was_up) {
        listener.link_down();
    }
}

void control_link::close_and_wait() {
    reader.reset();
    socket.reset();
    reconnect.start(pause_ms);
    pause_ms = std::min(pause_ms * 2, longest_pause_ms);
}

void control_link::send(std::string line, std::weak_ptr<void> alive, reply_handler handler) {
    enqueue({std::move(line), {}, std::move(alive), true, std::move(handler)});
}

void control_link::send(std::string line) {
    enqueue({std::move(line), {}, {}, false, {}});
}

void control_link::enqueue(command&& entry) {
    if (!greeted) {
        return;
    }
    entry.line += '\n';
    entry.queued = std::chrono::steady_clock::now();
    ready_bytes += entry.line.size();
    ready.push_back(std::move(entry));
    if (ready_bytes > most_waiting_bytes) {
        lose("the daemon stands still");
        return;
    }
    send_waiting();
}

void control_link::send_waiting() {
    std::string burst;
    while (!ready.empty() && sent_bytes + ready.front().line.size() <= most_unanswered_bytes) {
        command& next = ready.front();
        burst += next.line;
        sent_bytes += next.line.size();
        ready_bytes -= next.line.size();
        sent.push_back(std::move(next));
        ready.pop_front();
    }
    if (burst.empty()) {
        return;
    }
    // So little fits into the socket's buffer at once, unless the other end is no daemon of ours.
    const ssize_t written = ::send(socket.get(), burst.data(), burst.size(), MSG_NOSIGNAL);
    if (written != static_cast<ssize_t>(burst.size())) {
        lose(written < 0 ? error_text(errno) : "the control socket is full");
    }
}

void control_link::readable() {
    std::array<char, 65'536> buffer;
    const ssize_t length = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
    if (length < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (length <= 0) {
        lose(length < 0 ? error_text(errno) : "the daemon has closed it");
        return;
    }
    input.append(buffer.data(), static_cast<std::size_t>(length));
    std::string lines;
    const std::size_t end = input.rfind('\n');
    if (end != std::string::npos) {
        lines = input.substr(0, end + 1);
        input.erase(0, end + 1);
    } else if (input.size() > longest_line_bytes) {
        lose("a line without end");
        return;
    }
    std::string_view rest = lines;
    while (!rest.empty() && !lost) { // a callback may lose the link
        const std::size_t length_of_line = rest.find('\n');
        take_line(rest.substr(0, length_of_line));
        rest.remove_prefix(length_of_line + 1);
    }
}

void control_link::take_line(std::string_view line) {
    if (!greeted && line == "RECOVER_OK") {
        greeted = true;
        reported = false;
        pause_ms = first_pause_ms;
        log_line("daemon") << "connected to " << path;
        listener.link_up();
    } else if (line.starts_with("SUCCESS") || line.starts_with("ERROR")) {
        take_reply(line);
    } else if (greeted && !line.empty()) {
        listener.notice(line);
    }
}

void control_link::take_reply(std::string_view line) {
    if (sent.empty()) {
        return;
    }
    const command answered = std::move(sent.front());
    sent.pop_front();
    sent_bytes -= answered.line.size();
    const auto data = after(line, "SUCCESS");
    if (!answered.has_handler) {
        if (!data) {
            const std::string_view text = answered.line;
            log_line("daemon") << text.substr(0, text.size() - 1) << ": " << line;
        }
    } else if (!answered.alive.expired()) {
        answered.handler({data.has_value(), data.value_or(line)});
    }
    send_waiting();
}

} // namespace vocalink::dialin
