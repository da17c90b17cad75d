// SPDX-License-Identifier: GPL-3.0-or-later
// A sound player running beside the daemon, fed through a pipe.
#pragma once

#include "util/unique_fd.hpp"

#include <cstddef>

namespace vocalink {

/** Runs a command line with a pipe as its standard input. The player gets no other descriptor of
 *  this process but its standard output and error. Closing the pipe lets it play what it has and
 *  end; the event loop, which reaps every child, takes note. */
class player_pipe {
  public:
    /** Starts the player through /bin/sh. is_open() tells whether that went well; if not, errno
     *  says why. A missing player is found by the shell and closes the pipe. */
    explicit player_pipe(const char* command_line);

    [[nodiscard]] bool is_open() const { return static_cast<bool>(fd); }

    /** Writes one block whole, or drops it when the player is behind or gone; never waits. Blocks
     *  of up to PIPE_BUF bytes are never cut. @return whether it was written */
    bool write(const char* block, std::size_t bytes);

  private:
    util::unique_fd fd;
};

} // namespace vocalink
