// SPDX-License-Identifier: GPL-3.0-or-later
// Starting another program.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace vocalink::util {

/** What to start, and how. */
struct child_program {
    const char* path;
    std::vector<std::string> words; // its own name first
    int input = -1;                 // becomes its standard input; -1 for /dev/null
    /** Keeps the signals of the daemon's terminal away from it. It may still write there, even where
     *  the terminal stops background processes that do. */
    bool own_process_group = false;
};

/** Starts a program, with the signals as programs expect them: none blocked by our workers' masks,
 *  SIGPIPE deadly. Any thread. @return 0, or a system error number */
[[nodiscard]] int start_child(child_program program, pid_t& pid);

} // namespace vocalink::util
