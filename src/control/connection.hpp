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

/** An accepted client of the control socket. Each command line gets one reply line, in order, with
 *  notices between the replies. The next line runs when the client has taken the reply before it.
 *  Owns every stream and bridge created through it. They end with it, and their ids are its own.
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

    /** Sends a notice to the client. @param text  without line end */
    void notify(std::string text);

    /** Notices that clients did not get because they did not read, in all connections. */
    [[nodiscard]] static long long total_dropped_notices();

    /** Frames everything after the running command's line with another policy. */
    void use_framing(std::unique_ptr<framing> next);

    /** Queues the running command's next turn, because its pending reply is finished. */
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
    long long dropped_notices = 0;      // since the client was last told of some
    std::vector<notice> held_notices;   // sent after the reply of the running listing
    std::size_t held_bytes = 0;         // in held_notices
    ev::io input_watcher;               // after fd: stops before the descriptor closes
};

} // namespace vocalink
