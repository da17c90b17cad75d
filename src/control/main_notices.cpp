// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon's pipe of recording notices, and their way to the connections.
#include "control/main.hpp"
#include "util/log_line.hpp"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

constexpr std::size_t longest_notice = 16383;
constexpr std::size_t read_bytes = 4096; // some 70 notices: calls do not wait for more at a time

} // namespace

void main::setup_rec_mover_pipe() {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        log_line() << "Error opening rec_mover pipe!";
        return;
    }
    rec_pipe_read_fd.reset(ends[0]);
    rec_pipe_write_fd.reset(ends[1]);
    if (::fcntl(ends[0], F_SETFL, O_NONBLOCK) != 0) {
        log_line("main") << "rec_mover pipe stays blocking: " << error_text(errno);
    }
    rec_pipe_watcher.set<main, &main::handle_rec_thread_output>(this);
    rec_pipe_watcher.priority = command_turns::watcher_priority;
    rec_mover.set_out_fd(ends[1]);
}

void main::handle_rec_thread_output(ev::io&, int) {
    std::array<char, read_bytes> buffer;
    const ssize_t received = ::read(rec_pipe_read_fd.get(), buffer.data(), buffer.size());
    if (received < 0) {
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
            log_line() << "Error receiving from pipe! " << error_text(errno);
        }
        return;
    }
    if (received == 0) {
        log_line() << "Pipe closed.";
        rec_pipe_watcher.stop(); // it would stay readable
        return;
    }
    split_notices({buffer.data(), static_cast<std::size_t>(received)});
}

/** Joins the chunks from the pipe into lines and delivers each line. Skips a line that is too long
 *  up to its end, so that its tail is not taken for a line. */
void main::split_notices(std::string_view chunk) {
    while (!chunk.empty()) {
        const auto end = chunk.find('\n');
        notice.append(chunk.substr(0, end));
        if (notice.size() > longest_notice) {
            if (!notice_too_long) {
                log_line() << "Error: output line too long";
            }
            notice_too_long = true;
            notice.clear();
        }
        if (end == std::string_view::npos) {
            return;
        }
        if (!notice_too_long) {
            deliver_notice(notice);
        }
        notice_too_long = false;
        notice.clear();
        chunk.remove_prefix(end + 1);
    }
}

/** Delivers a line to the connection that its first word names, if there still is one. */
void main::deliver_notice(const std::string& line) {
    const auto blank = line.find(' ');
    if (blank == std::string::npos) {
        return;
    }
    if (connection* const owner = find_connection(line.substr(0, blank)); owner != nullptr) {
        owner->notify(line.substr(blank + 1));
    }
}

} // namespace vocalink
