// SPDX-License-Identifier: GPL-3.0-or-later
// Lines to a controller, written without ever waiting for it to read them.
#pragma once

#include "control/command_turns.hpp"
#include "util/event_loop.hpp"
#include "util/signal.hpp"

#include <string>
#include <string_view>

namespace vocalink {

/** Hands each line to the socket in one call. What the socket cannot take at once is kept and goes
 *  out, in order, when the reader makes room, so that a controller that does not read holds up
 *  nobody but itself. The descriptor is its owner's and must outlive this. Loop thread only. */
class line_output {
  public:
    /** @param shared_turns  whose time it takes to send what is kept; outlives this */
    line_output(int fd, command_turns& shared_turns);

    /** Sends text, or keeps it behind what is kept already. A broken socket drops it: the next read
     *  finds the connection ended. */
    void write(std::string_view text);

    /** Bytes kept because the reader is behind. */
    [[nodiscard]] std::size_t backlog_bytes() const { return backlog.size() - sent_bytes; }

    /** Emitted when the last kept byte has gone. */
    util::signal0<> drained;

  private:
    void handle_writable(ev::io& io, int events);

    command_turns& turns;
    const int fd;               // its owner's
    std::string backlog;        // the socket did not take it at once
    std::size_t sent_bytes = 0; // of the backlog
    ev::io watcher;             // runs while there is a backlog
};

} // namespace vocalink
