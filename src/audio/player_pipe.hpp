// SPDX-License-Identifier: GPL-3.0-or-later
// A sound player running beside the daemon, fed through a pipe.
#pragma once

#include "util/unique_fd.hpp"

#include <cstddef>
#include <string>

namespace vocalink {

class player_process;

/** Runs a command line with a pipe as its standard input. The player gets no other descriptor of
 *  this process but its standard output and error. Closing the pipe lets it play what it has and
 *  end. Many sound devices serve one player at a time. So a new player starts when the players of
 *  closed pipes have ended; blocks written until then are dropped. Loop thread only. */
class player_pipe {
  public:
    /** Starts the player through /bin/sh, at once or from the loop when earlier ones are gone.
     *  is_open() tells whether that went well; if not, errno says why. A missing player is found by
     *  the shell and closes the pipe. */
    explicit player_pipe(const char* command_line);
    player_pipe(const player_pipe&) = delete;
    player_pipe& operator=(const player_pipe&) = delete;
    ~player_pipe();

    /** Whether the player runs or waits for its turn. */
    [[nodiscard]] bool is_open() const { return waiting || static_cast<bool>(fd); }

    /** Writes one block whole, or drops it when the player is behind, gone or not yet started;
     *  never waits. Blocks of up to PIPE_BUF bytes are never cut. @return whether it was written */
    bool write(const char* block, std::size_t bytes);

  private:
    friend class player_process;

    void start();

    const std::string command;
    bool waiting = false;              // for earlier players to end
    util::unique_fd fd;                // of a started player
    player_process* process = nullptr; // of a player that runs; owns itself
};

} // namespace vocalink
