// SPDX-License-Identifier: GPL-3.0-or-later
// One controller: its commands, its replies and notices, and the objects it has made.
#pragma once

#include "control/line_output.hpp"
#include "control/owned_objects.hpp"
#include "util/event_loop.hpp"
#include "util/signal.hpp"
#include "util/unique_fd.hpp"

#include <string>

namespace vocalink {

/** An accepted client of the control socket. Every command line gets one reply line; notices stand
 *  between them. Owns every stream and bridge made through it: they end with it, and their ids
 *  count only within it.
 *
 *  Owned by main; ends itself at the end of its input, as the last act of handle_input. Loop thread
 *  only. */
class connection {
  public:
    /** Greets the client and begins to read from the accepted socket. */
    connection(const char* name, util::unique_fd accepted);
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;
    ~connection();

    const std::string name; // decimal, given by main
    owned_objects objects;  // end with the connection

    /** Emitted with the name at the end, when streams and bridges are gone. */
    util::signal1<std::string> deleted;

    /** Runs one command. @return the reply, ended by one newline */
    [[nodiscard]] std::string handle_command(const char* line);

    /** Sends a notice to the client; the line end is added. */
    void notify(std::string text);

  private:
    void handle_input(ev::io& io, int events);
    void run_lines(char* chunk);
    void hold_back(const char* lines);
    void resume_lines();
    void handle_resume(ev::timer& timer, int events);

    util::unique_fd fd;
    line_output output;        // replies and notices, in order
    std::string waiting_lines; // commands held back for a slow client or a busy turn of the loop
    long long dropped_notices = 0; // while the client did not read
    ev::timer resume_timer;        // runs while commands wait for the loop's next turn
    ev::io input_watcher;          // after fd: stops before the descriptor closes
};

} // namespace vocalink
