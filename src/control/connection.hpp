// SPDX-License-Identifier: GPL-3.0-or-later
// One controller: its commands, its replies and notices, and the objects it has made.
#pragma once

#include "control/command_run.hpp"
#include "control/command_turns.hpp"
#include "control/framing.hpp"
#include "control/line_output.hpp"
#include "control/owned_objects.hpp"
#include "util/event_loop.hpp"
#include "util/signal.hpp"
#include "util/unique_fd.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vocalink {

/** An accepted client of the control socket. Every command line gets one reply line, in the order of
 *  the lines; notices stand between them. A line is run when the one before it has its reply and the
 *  client has taken that. Owns every stream and bridge created through it: they end with it, and
 *  their ids count only within it.
 *
 *  Owned by main; ends itself at the end of its input, as the last act of handle_input. Loop thread
 *  only. */
class connection final : private turn_taker {
  public:
    /** Greets the client and begins to read from the accepted socket.
     *  @param shared_turns  main's; outlives this */
    connection(const char* name, util::unique_fd accepted, command_turns& shared_turns);
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;
    ~connection();

    const std::string name; // decimal, given by main
    owned_objects objects;  // end with the connection

    /** Emitted with the name at the end, when streams and bridges are gone. */
    util::signal1<std::string> deleted;

    /** Sends a notice to the client; the line end is added. */
    void notify(std::string text);

    /** Frames what follows the running command's line in another way. */
    void use_framing(std::unique_ptr<framing> next);

    /** Has the running command take its next turn: its pending reply is finished. */
    void handle_finished_reply();

  private:
    void handle_input(ev::io& io, int events);
    void handle_notice(const notice& told);
    bool take_turn() override;
    bool run_part();
    bool begin_command();
    void read_chunk();
    bool end_part();
    void handle_drained_output();
    void send_reply(const std::string& line);
    void tell_gap();

    command_turns& turns;
    util::unique_fd fd;
    line_output output;                 // replies and notices, in order
    std::unique_ptr<framing> input;     // what was read and not run yet
    bool readable = false;              // since handle_input, nothing has been read
    bool end_of_input = false;          // the client has gone; its objects end, then this
    std::optional<command_run> running; // the command whose reply is to come
    bool blocked = false;               // further commands wait until the client takes the output
    long long dropped_notices = 0;      // since the gap was last told
    std::vector<notice> held_notices;   // of a listing's time; they follow its reply
    std::size_t held_bytes = 0;         // in held_notices
    ev::io input_watcher;               // after fd: stops before the descriptor closes
};

} // namespace vocalink
