// SPDX-License-Identifier: GPL-3.0-or-later
// The client mode: relays the terminal to a running daemon and back.
#pragma once

#include "util/event_loop.hpp"
#include "util/unique_fd.hpp"

#include <vector>

namespace vocalink {

/** Connects to a daemon's control socket and passes bytes through both ways, unchanged, until
 *  either side ends. Owned by the process entry. */
class remote {
  public:
    /** Ends the process with status 1 when it cannot connect.
     *  @param path  cut to 107 bytes; null for "/tmp/vocalink.sock" */
    explicit remote(const char* path);
    remote(const remote&) = delete;
    remote& operator=(const remote&) = delete;

    /** Relays until an end of file or a read error. @return the exit status */
    int run();
    void stop(int status);

  private:
    void handle_stdin(ev::io& io, int events);
    void handle_remote(ev::io& io, int events);
    void handle_socket(int from, int to);

    util::unique_fd socket;
    ev::io stdin_watcher;
    ev::io socket_watcher;
    std::vector<char> buffer; // one block on its way
    int exit_status = 0;
};

} // namespace vocalink
