// SPDX-License-Identifier: GPL-3.0-or-later
// The real daemon as a child process, with a socket and a log of its own.
#pragma once

#include "harness/descriptor.hpp"
#include "harness/temporary_directory.hpp"

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vocalink::harness {

/** Starts the executable named by the environment's VOCALINK_EXECUTABLE, by default the one built
 *  beside the harness, in a temporary directory that holds its socket, its log and its recordings.
 *
 *  Construct it in a thread that outlives it: the system kills the child when that thread ends, so
 *  that no daemon is left behind by a test that crashed. */
class daemon_process {
  public:
    /** Returns when the daemon serves its socket; no connection has been used up for finding out.
     *  @param extra_arguments  come after the harness's own -s, -a and -l, and so override them
     *  @throws std::runtime_error with the log when the daemon does not start */
    explicit daemon_process(std::vector<std::string> extra_arguments = {});

    /** stop(), and after 10 s a kill. */
    ~daemon_process();
    daemon_process(const daemon_process&) = delete;
    daemon_process& operator=(const daemon_process&) = delete;

    /** Sends SIGINT and waits for the end; once it has ended, returns the same again.
     *  @return the exit status, or 128 plus the number of the signal that ended it
     *  @throws std::runtime_error with the log's tail when it is not over after 10 s (it is killed)
     */
    int stop();

    /** Sends SIGINT and returns at once. */
    void interrupt() const;

    /** Whether the process has not ended yet. */
    [[nodiscard]] bool running();

    /** Waits until text stands anywhere in the log, or in what comes after the first skip_bytes.
     *  @return false when the time passed, or the daemon ended, without it */
    [[nodiscard]] bool wait_for_log(const std::string& text, milliseconds timeout = default_timeout,
                                    std::size_t skip_bytes = 0);

    /** All that the daemon has written to standard error and standard output so far. */
    [[nodiscard]] std::string log() const;

    /** The log's last lines, for messages of failure. */
    [[nodiscard]] std::string log_tail() const;

    [[nodiscard]] pid_t pid() const { return child; }
    [[nodiscard]] const std::string& socket_path() const { return socket; }
    [[nodiscard]] const std::string& directory_path() const { return directory.path(); }

  private:
    void spawn(const std::vector<std::string>& arguments);
    void wait_for_change(const deadline& until) const;
    bool wait_for_end(milliseconds timeout);
    void kill();

    temporary_directory directory;  ///< holds socket and log
    std::string socket;             ///< path of the control socket
    std::string log_path;           ///< path of the file that takes standard error
    pid_t child = -1;               ///< process id of the daemon
    descriptor process_watch;       ///< readable when the daemon has ended
    descriptor log_watch;           ///< readable when the log has grown
    std::optional<int> exit_status; ///< set once the process has been reaped
};

} // namespace vocalink::harness
