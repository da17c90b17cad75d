// SPDX-License-Identifier: GPL-3.0-or-later
// A connection's framing, dispatch, replies and notices.
#include "control/connection.hpp"

#include "control/chunk_framing.hpp"
#include "util/log_line.hpp"

#include <array>
#include <cerrno>
#include <new>
#include <utility>

#include <sys/socket.h>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

constexpr std::size_t input_bytes = 16384;

// Notices are dropped while this much is unread; calls are unaffected.
constexpr std::size_t max_backlog_bytes = 1'048'576;

long long dropped_in_all = 0;

command_result refuse_long_line(connection&, word_list&) {
    return "ERROR line too long";
}

} // namespace

connection::connection(const char* connection_name, util::unique_fd accepted,
                       command_turns& shared_turns)
    : name(connection_name), turns(shared_turns), fd(std::move(accepted)), output(fd.get(), turns),
      input(std::make_unique<chunk_framing>()) {
    log_line("connection", name) << "starting with fd " << fd.get();
    output.write("RECOVER_OK\n");
    objects.notify_signal.connect(this, &connection::handle_notice);
    output.drained.connect(this, &connection::handle_drained_output);
    input_watcher.set<connection, &connection::handle_input>(this);
    input_watcher.priority = command_turns::watcher_priority;
    input_watcher.start(fd.get(), ev::READ);
}

connection::~connection() {
    turns.remove(*this);
    running.reset();
    objects.end_all();
    deleted.emit(name);
    if (dropped_notices > 0) {
        log_line("connection", name) << dropped_notices << " notices dropped";
    }
    log_line("connection", name) << "terminated";
}

void connection::handle_input(ev::io&, int) {
    if (!end_of_input) {
        readable = true;
        input_watcher.stop(); // until this chunk is done
        turns.add(*this);
        turns.run();
    }
    if (end_of_input && objects.empty()) {
        delete this;
    }
}

bool connection::take_turn() {
    try {
        return run_part();
    } catch (const std::bad_alloc&) { // outside the handler: reading, splitting, logging, sending
        running.reset();
        send_reply(std::string(out_of_memory) + "\n");
        return !blocked;
    }
}

/** Runs the next line, or the next part of the one before. @return whether to go on at once */
bool connection::run_part() {
    if (end_of_input) {
        return end_part();
    }
    if (!running && !begin_command()) {
        return end_of_input; // the next turn then begins to end the objects
    }
    const auto reply = running->proceed();
    if (!reply) {
        return !running->waits(); // if it waits, handle_finished_reply queues the next turn
    }
    running.reset();
    send_reply(*reply);
    return !blocked; // if blocked, handle_drained_output queues it
}

/** @return false while no whole line is there; handle_input waits for more */
bool connection::begin_command() {
    auto line = input->next_line();
    if (!line && readable) {
        readable = false;
        read_chunk();
        line = input->next_line();
    }
    if (!line) {
        if (!end_of_input) {
            input_watcher.start();
        }
        return false;
    }
    running.emplace(*this, *line, line->too_long ? refuse_long_line : run_from_table);
    return true;
}

void connection::read_chunk() {
    std::array<char, input_bytes> buffer;
    const ssize_t received = ::recv(fd.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (received > 0) {
        input->take({buffer.data(), static_cast<std::size_t>(received)});
    } else if (received == 0) {
        log_line("connection", name) << "eof received";
        end_of_input = true;
    } else if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK) {
        const int error = errno;
        log_line("connection", name)
            << "error " << error << " reading from input: " << error_text(error);
        end_of_input = true;
    }
}

/** Ends one of the client's objects; ending a thousand at once would hold up packets. handle_input
 *  deletes the connection itself: the end of the input stays readable, so it is called again. */
bool connection::end_part() {
    objects.end_one();
    if (objects.empty()) {
        input_watcher.start();
    }
    return !objects.empty();
}

void connection::use_framing(std::unique_ptr<framing> next) {
    if (const std::string rest = input->rest(); !rest.empty()) {
        next->take(rest);
    }
    input = std::move(next);
}

void connection::handle_finished_reply() {
    turns.add(*this);
}

void connection::handle_drained_output() {
    tell_gap();
    if (blocked) {
        blocked = false;
        turns.add(*this);
    }
}

long long connection::total_dropped_notices() {
    return dropped_in_all;
}

void connection::notify(std::string text) {
    handle_notice({.text = std::move(text)});
}

void connection::handle_notice(const notice& told) {
    const bool listing = running && running->goes_on();
    if (output.backlog_bytes() + held_bytes > max_backlog_bytes) {
        dropped_in_all += 1;
        if (dropped_notices++ == 0) {
            log_line("connection", name) << "client does not read, dropping notices";
        }
    } else if (listing) {
        held_bytes += told.text.size();
        held_notices.push_back(told);
    } else {
        if (told.logged) {
            log_line() << "<- connection(" << name << "): " << told.text;
        }
        tell_gap();
        output.write(told.text + "\n");
    }
}

void connection::send_reply(const std::string& line) {
    tell_gap();
    output.write(line);
    blocked = output.backlog_bytes() > 0;
    held_bytes = 0;
    for (const notice& held : std::exchange(held_notices, {})) {
        handle_notice(held);
    }
}

/** Tells the client how many notices were dropped here. */
void connection::tell_gap() {
    if (dropped_notices > 0) {
        log_line("connection", name) << dropped_notices << " notices dropped";
        output.write("NOTICES DROPPED " + std::to_string(std::exchange(dropped_notices, 0)) + "\n");
    }
}

} // namespace vocalink
