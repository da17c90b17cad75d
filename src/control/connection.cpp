// SPDX-License-Identifier: GPL-3.0-or-later
// A connection's framing, dispatch, replies and notices.
#include "control/connection.hpp"

#include "base/exceptions.hpp"
#include "control/commands.hpp"
#include "control/log_masking.hpp"
#include "control/word_table.hpp"
#include "util/log_line.hpp"
#include "util/text.hpp"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include <sys/socket.h>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

constexpr std::size_t input_bytes = 16384;

// How long one client's commands may keep the loop before others have their turn.
constexpr std::chrono::milliseconds longest_turn{2};

// A client that reads no notices gets no more of them beyond this; its calls go on.
constexpr std::size_t max_backlog_bytes = 1'048'576;

/** @throws whatever the handler throws, and command_exception for a word that is no command */
command_result dispatch(connection& caller, word_list& words) {
    if (words.empty()) {
        throw command_exception("commands must be in the format 'operation [args]'");
    }
    const std::string operation = take_word(words);
    const command* const row = find_command(operation);
    if (row == nullptr) {
        throw unknown_word("unknown command", operation);
    }
    return row->run(caller, words);
}

} // namespace

connection::connection(const char* connection_name, util::unique_fd accepted)
    : name(connection_name), fd(std::move(accepted)), output(fd.get()) {
    log_line("connection", name) << "starting with fd " << fd.get();
    output.write("RECOVER_OK\n");
    objects.notify_signal.connect(this, &connection::notify);
    output.drained.connect(this, &connection::resume_lines);
    resume_timer.set<connection, &connection::handle_resume>(this);
    input_watcher.set<connection, &connection::handle_input>(this);
    input_watcher.start(fd.get(), ev::READ);
}

connection::~connection() {
    objects.end_all();
    deleted.emit(name);
    if (dropped_notices > 0) {
        log_line("connection", name) << dropped_notices << " notices dropped";
    }
    log_line("connection", name) << "terminated";
}

void connection::handle_input(ev::io&, int) {
    std::array<char, input_bytes> buffer;
    const ssize_t received = ::recv(fd.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (received < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)) {
        return;
    }
    if (received <= 0) {
        if (received == 0) {
            log_line("connection", name) << "eof received";
        } else {
            const int error = errno;
            log_line("connection", name)
                << "error " << error << " reading from input: " << error_text(error);
        }
        delete this;
        return;
    }
    // Clients send whole lines: the last byte is taken for the newline, and nothing is kept from
    // one read to the next.
    buffer[static_cast<std::size_t>(received) - 1] = '\0';
    run_lines(buffer.data());
}

/** Runs the lines of a chunk, as far as the client takes the replies and the loop has time; the rest
 *  waits. A chunk can hold thousands of commands, and other calls must go on meanwhile. */
void connection::run_lines(char* chunk) {
    const auto begin = std::chrono::steady_clock::now();
    char* rest = nullptr;
    for (char* line = strtok_r(chunk, "\n", &rest); line != nullptr;
         line = strtok_r(nullptr, "\n", &rest)) {
        output.write(handle_command(line));
        if (output.backlog_bytes() > 0) {
            hold_back(rest);
            return;
        }
        if (std::chrono::steady_clock::now() - begin > longest_turn) {
            hold_back(rest);
            resume_timer.start(0.0);
            return;
        }
    }
}

void connection::hold_back(const char* lines) {
    waiting_lines = lines;
    input_watcher.stop();
}

void connection::resume_lines() {
    resume_timer.stop();
    std::string lines = std::exchange(waiting_lines, {});
    input_watcher.start();
    run_lines(lines.data());
}

void connection::handle_resume(ev::timer&, int) {
    if (output.backlog_bytes() == 0) { // else the client's reading resumes them
        resume_lines();
    }
}

std::string connection::handle_command(const char* line) {
    word_list words;
    util::parse_args(line, words, '\0');
    const log_mask mask(words);
    log_line() << "<- tolvey connection(" << name << "): " << mask.line(line);
    std::string reply;
    std::string logged;
    try {
        reply = dispatch(*this, words).reply;
    } catch (const unknown_word& failure) {
        reply = "ERROR COMMAND_ERROR " + failure.message;
        logged = mask.hides(failure.word) ? "ERROR COMMAND_ERROR " + failure.masked : reply;
    } catch (const command_exception& failure) {
        reply = "ERROR COMMAND_ERROR " + failure.message;
    } catch (const bridge_exception& failure) {
        // The word is "stream" for bridges too; log readers expect it.
        log_line("stream", failure.id) << mask.reply(failure.message);
        reply = "ERROR BRIDGE_ERROR " + failure.message;
    } catch (const stream_exception& failure) {
        log_line("stream", failure.id) << mask.reply(failure.message);
        reply = "ERROR STREAM_ERROR " + failure.message;
    }
    log_line() << "-> connection(" << name << "): " << mask.reply(logged.empty() ? reply : logged);
    return reply + "\n";
}

void connection::notify(std::string text) {
    log_line() << "<- connection(" << name << "): " << text;
    if (output.backlog_bytes() > max_backlog_bytes) {
        if (dropped_notices++ == 0) {
            log_line("connection", name) << "client does not read, dropping notices";
        }
        return;
    }
    output.write(text + "\n");
}

} // namespace vocalink
