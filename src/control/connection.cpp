// SPDX-License-Identifier: GPL-3.0-or-later
// A connection's framing, dispatch, replies and notices.
#include "control/connection.hpp"

#include "control/command_words.hpp"
#include "util/exceptions.hpp"
#include "util/log_line.hpp"
#include "util/text.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <unistd.h>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

constexpr std::size_t input_bytes = 16384;

// A client that reads no notices gets no more of them beyond this; its calls go on.
constexpr std::size_t max_backlog_bytes = 1'048'576;

} // namespace

const connection::command connection::command_table[] = {
    {"new", &connection::_new},
    {"delete", &connection::_delete},
    {"join", &connection::_join},
    {"leave", &connection::_leave},
    {"clear", &connection::_clear},
    {"set", &connection::_set},
    {"recording", &connection::_recording},
    {"list", &connection::_list},
    {"show", &connection::_show},
    {"recover", &connection::_recover},
    {"queue_count", &connection::_queue_count},
    {"play", &connection::_play},
};

connection::connection(const char* connection_name, int accepted)
    : name(connection_name), fd(accepted), output(accepted) {
    log_line("connection", name) << "starting with fd " << accepted;
    output.write("RECOVER_OK\n");
    output.drained.connect(this, &connection::handle_output_drained);
    input_watcher.set<connection, &connection::handle_input>(this);
    input_watcher.start(accepted, ev::READ);
}

connection::~connection() {
    // Each takes itself out of its map through its deletion signal.
    while (!streams.empty()) {
        delete streams.begin()->second;
    }
    while (!bridges.empty()) {
        delete bridges.begin()->second;
    }
    deleted.emit(name);
    if (dropped_notices > 0) {
        log_line("connection", name) << dropped_notices << " notices dropped";
    }
    log_line("connection", name) << "terminated";
}

void connection::handle_input(ev::io&, int) {
    std::array<char, input_bytes> buffer;
    const ssize_t received = ::read(fd.get(), buffer.data(), buffer.size());
    if (received < 0 && errno == EINTR) {
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

/** Runs the lines of a chunk, as far as the client takes the replies; the rest waits for it. */
void connection::run_lines(char* chunk) {
    char* rest = nullptr;
    for (char* line = strtok_r(chunk, "\n", &rest); line != nullptr;
         line = strtok_r(nullptr, "\n", &rest)) {
        output.write(handle_command(line));
        if (output.backlog_bytes() > 0) {
            waiting_lines = rest;
            input_watcher.stop();
            return;
        }
    }
}

void connection::handle_output_drained() {
    std::string lines = std::exchange(waiting_lines, {});
    if (!input_watcher.is_active()) {
        input_watcher.start();
    }
    run_lines(lines.data());
}

std::string connection::handle_command(const char* line) {
    log_line() << "<- tolvey connection(" << name << "): " << without_keys(line);
    std::string reply;
    try {
        reply = dispatch(line);
    } catch (const command_exception& failure) {
        reply = "ERROR COMMAND_ERROR " + failure.message;
    } catch (const bridge_exception& failure) {
        // The word is "stream" for bridges too; log readers expect it.
        log_line("stream", failure.id) << failure.message;
        reply = "ERROR BRIDGE_ERROR " + failure.message;
    } catch (const stream_exception& failure) {
        log_line("stream", failure.id) << failure.message;
        reply = "ERROR STREAM_ERROR " + failure.message;
    }
    log_line() << "-> connection(" << name << "): " << reply;
    return reply + "\n";
}

std::string connection::dispatch(const char* line) {
    words arguments;
    util::parse_args(line, arguments, '\0');
    if (arguments.empty()) {
        throw command_exception("commands must be in the format 'operation [args]'");
    }
    const std::string operation = std::move(arguments.front());
    arguments.pop_front();
    for (const command& entry : command_table) {
        if (operation == entry.word) {
            return (this->*entry.run)(arguments);
        }
    }
    throw command_exception(util::format("unknown command '%s'", operation.c_str()));
}

std::string connection::_recover(words&) {
    return "RECOVER_OK";
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

void connection::handle_notification(std::string text) {
    notify(std::move(text));
}

void connection::handle_deleted_stream(std::string id) {
    streams.erase(id);
}

void connection::handle_deleted_bridge(std::string id) {
    bridges.erase(id);
}

stream* connection::find_stream(const std::string& id) const {
    const auto found = streams.find(id);
    return found == streams.end() ? nullptr : found->second;
}

bridge* connection::find_bridge(const std::string& id) const {
    const auto found = bridges.find(id);
    return found == bridges.end() ? nullptr : found->second;
}

} // namespace vocalink
