// SPDX-License-Identifier: GPL-3.0-or-later
// The real daemon as a child process, with a socket and a log of its own.
#pragma once

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
    /** Returns when the daemon serves its socket, without having connected to it.
     *  @param extra_arguments  come after the harness's own -s, -a and -l, and so override them
     *  @throws std::runtime_error with the log when the daemon does not start */
    explicit daemon_process(const std::vector<std::string>& extra_arguments = {});

    /** stop(), and after 10 s a kill. */
    ~daemon_process();
    daemon_process(const daemon_process&) = delete;
    daemon_process& operator=(const daemon_process&) = delete;

    /** Sends SIGINT and waits for the end; once it has ended, returns the same again.
     *  @return the exit status, or 128 plus the number of the signal that ended it
     *  @throws std::runtime_error with the log when it takes over 10 s (it is killed) */
    int stop();

    /** Waits until the text stands in the log.
     *  @return false when the time passed, or the daemon ended, without it */
    [[nodiscard]] bool wait_for_log(const std::string& text,
                                    milliseconds timeout = default_timeout);

    /** All that the daemon has written to standard error and standard output so far. Waits for its
     *  thread that writes the log, so that what a command logged is there when its reply is. */
    [[nodiscard]] std::string log() const;

    [[nodiscard]] pid_t pid() const { return child; }
    [[nodiscard]] const std::string& socket_path() const { return control_socket; }
    [[nodiscard]] const std::string& directory_path() const { return directory.path(); }

  private:
    [[nodiscard]] bool ended();
    [[noreturn]] void kill_and_complain(const std::string& complaint);

    temporary_directory directory;
    const std::string control_socket = directory.path() + "/control";
    const std::string log_path = directory.path() + "/log";
    pid_t child = -1;
    std::optional<int> exit_status; ///< set once the process has been reaped
};

} // namespace vocalink::harness
