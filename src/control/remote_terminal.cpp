// SPDX-License-Identifier: GPL-3.0-or-later
// The client at a terminal: lines edited, remembered and completed.
#include "control/remote_terminal.hpp"

#include "control/commands.hpp"
#include "control/daemon_socket.hpp"
#include "control/line_editor.hpp"
#include "control/listed_ids.hpp"
#include "util/log_line.hpp"
#include "util/retry.hpp"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <string_view>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace vocalink {

using util::log_line;

namespace {

// An operator who pressed Tab does not wait longer for a daemon that is busy.
constexpr std::chrono::milliseconds completion_patience{300};

bool is_reply(std::string_view line) {
    return line.starts_with("SUCCESS") || line.starts_with("ERROR") ||
           line.starts_with("RECOVER_OK");
}

} // namespace

remote_terminal::remote_terminal(const char* path) {
    log_line("remote") << "connecting to socket file " << path;
    socket = connect_to_daemon(path);
    terminal_watcher.set<remote_terminal, &remote_terminal::handle_terminal>(this);
    terminal_watcher.start(STDIN_FILENO, ev::READ);
    daemon_watcher.set<remote_terminal, &remote_terminal::handle_daemon>(this);
    daemon_watcher.start(socket.get(), ev::READ);
    interrupt_watcher.set<remote_terminal, &remote_terminal::handle_signal>(this);
    interrupt_watcher.start(SIGINT);
    hidden_replies.push_back(false); // the greeting
    send("framing lines", true);
}

int remote_terminal::run() {
    log_line("remote") << "ready.";
    {
        const line_editor editor(*this);
        ev_run(ev_default_loop(0), 0);
    }
    log_line("remote") << "shutdown complete.";
    return 0;
}

void remote_terminal::stop() {
    if (!std::exchange(ended, true)) {
        terminal_watcher.stop();
        daemon_watcher.stop();
        interrupt_watcher.stop();
        log_line("remote") << "shutting down";
    }
}

void remote_terminal::handle_signal(ev::sig&, int) {
    line_editor::leave_line();
    stop();
}

void remote_terminal::handle_terminal(ev::io&, int) {
    line_editor::read_key();
    if (ended) {
        return;
    }
    show_waiting_lines(); // that came while a word was being completed
}

void remote_terminal::take_entered(const char* line) {
    if (line == nullptr) {
        line_editor::leave_line();
        log_line("remote") << "EOF from fd " << STDIN_FILENO;
        stop();
    } else if (*line != '\0' && !send(line, false)) {
        stop();
    }
}

bool remote_terminal::send(const std::string& command, bool hidden) {
    const std::string line = command + "\n";
    hidden_replies.push_back(hidden);
    return write_all(socket.get(), line.data(), line.size());
}

void remote_terminal::handle_daemon(ev::io&, int) {
    const bool running = read_daemon();
    show_waiting_lines();
    if (!running) {
        line_editor::leave_line();
        log_line("remote") << "EOF from fd " << socket.get();
        stop();
    }
}

/** Takes the lines that the daemon has sent. @return false when it has ended the connection */
bool remote_terminal::read_daemon() {
    std::array<char, 65536> block;
    const ssize_t received =
        util::retry_on_signal([&] { return ::read(socket.get(), block.data(), block.size()); });
    if (received <= 0) {
        return false;
    }
    unread.append(block.data(), static_cast<std::size_t>(received));
    std::size_t begin = 0;
    for (std::size_t end = unread.find('\n'); end != std::string::npos;
         end = unread.find('\n', begin)) {
        take_daemon_line(unread.substr(begin, end - begin));
        begin = end + 1;
    }
    unread.erase(0, begin);
    return true;
}

void remote_terminal::take_daemon_line(std::string line) {
    if (is_reply(line) && !hidden_replies.empty()) {
        const bool hidden = hidden_replies.front();
        hidden_replies.pop_front();
        if (hidden) {
            hidden_reply = std::move(line);
            return;
        }
    }
    to_show.push_back(std::move(line));
}

void remote_terminal::show_waiting_lines() {
    if (!to_show.empty()) {
        line_editor::leave_line();
        for (const std::string& line : std::exchange(to_show, {})) {
            std::printf("%s\n", line.c_str());
        }
        std::fflush(stdout);
        line_editor::show_line();
    }
}

/** Asks for the operator, who is typing. @return the reply, or nothing when it takes long */
std::string remote_terminal::ask(const std::string& command) {
    using clock = std::chrono::steady_clock;
    hidden_reply.clear();
    bool running = send(command, true);
    const auto until = clock::now() + completion_patience;
    while (running && hidden_reply.empty() && clock::now() < until) {
        pollfd readable{socket.get(), POLLIN, 0};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(until - clock::now());
        running = ::poll(&readable, 1, static_cast<int>(left.count()) + 1) == 1 && read_daemon();
    }
    return std::exchange(hidden_reply, {});
}

std::vector<std::string> remote_terminal::candidates(bool first_word) {
    std::vector<std::string> words;
    if (first_word) {
        for (const command& row : command_table) {
            words.emplace_back(row.word);
        }
        return words;
    }
    words = listed_stream_ids(ask("list streams"));
    for (std::string& id : listed_bridge_ids(ask("list bridges"))) {
        words.push_back(std::move(id));
    }
    for (const char* const word : {"stream", "bridge", "streams", "bridges"}) {
        words.emplace_back(word);
    }
    return words;
}

} // namespace vocalink
