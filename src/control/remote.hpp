// SPDX-License-Identifier: GPL-3.0-or-later
// The client mode: relays the terminal to a running daemon and back.
#pragma once

#include "util/event_loop.hpp"
#include "util/unique_fd.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace vocalink {

/** Connects to a daemon's control socket and passes bytes through both ways, unchanged, until
 *  either side ends. Owned by the process entry. */
class remote {
  public:
    /** Ends the process with status 1 when it cannot connect.
     *  @param path  cut to 107 bytes */
    explicit remote(const char* path);
    remote(const remote&) = delete;
    remote& operator=(const remote&) = delete;

    /** Relays until an end of file or a read error. @return the exit status */
    int run();
    void stop(int status);

  private:
    void handle_stdin(ev::io& io, int events);
    void handle_remote(ev::io& io, int events);
    void handle_socket_writable(ev::io& io, int events);
    /** Reads one block. @return its bytes; 0 after an end or an error, which have stopped the relay */
    std::size_t read_block(int from);
    void send_unsent();
    static void report_write_error(int to);

    util::unique_fd socket;
    ev::io stdin_watcher;           // stops while something is unsent
    ev::io socket_watcher;          // for what the daemon says
    ev::io socket_writable_watcher; // runs while something is unsent
    std::vector<char> buffer;       // one block on its way
    std::string unsent;             // of the terminal's input, which the daemon does not take yet
    int exit_status = 0;
};

} // namespace vocalink
