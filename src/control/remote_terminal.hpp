// SPDX-License-Identifier: GPL-3.0-or-later
// The client at a terminal: lines edited, remembered and completed.
#pragma once

#include "util/event_loop.hpp"
#include "util/unique_fd.hpp"

#include <deque>
#include <string>
#include <vector>

namespace vocalink {

/** Sends each line that an operator enters to a daemon, and shows what the daemon says above the
 *  line being edited. Owned by the process entry, which uses it where standard input is a terminal.
 *  One at a time, because line editing is one for the process. Loop thread only. */
class remote_terminal {
  public:
    /** Ends the process with status 1 when it cannot connect.
     *  @param path  cut to 107 bytes */
    explicit remote_terminal(const char* path);
    remote_terminal(const remote_terminal&) = delete;
    remote_terminal& operator=(const remote_terminal&) = delete;

    /** Runs until the operator or the daemon ends it. @return the exit status */
    int run();

    /** Takes what the operator has entered; null for the end of the input. */
    void take_entered(const char* line);

    /** What could stand at this place of the line, whatever it begins with. */
    [[nodiscard]] std::vector<std::string> candidates(bool first_word);

  private:
    void handle_terminal(ev::io& io, int events);
    void handle_daemon(ev::io& io, int events);
    void handle_signal(ev::sig& signal, int events);
    bool send(const std::string& command, bool hidden);
    bool read_daemon();
    void take_daemon_line(std::string line);
    void show_waiting_lines();
    [[nodiscard]] std::string ask(const std::string& command);
    void stop();

    util::unique_fd socket;
    std::string unread;               // of the daemon's, not yet a whole line
    std::deque<bool> hidden_replies;  // of each reply to come, whether the operator did not ask
    std::string hidden_reply;         // the last of those
    std::vector<std::string> to_show; // lines for the operator
    bool ended = false;
    ev::io terminal_watcher;
    ev::io daemon_watcher;
    ev::sig interrupt_watcher; // the terminal gets its modes back
};

} // namespace vocalink
