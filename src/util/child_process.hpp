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
    /** Keeps Ctrl-C at the daemon's terminal from ending it. It may write to the terminal even where
     *  that stops background processes. */
    bool own_process_group = false;
};

/** Starts a program with the signals that programs expect: none blocked, and SIGPIPE ends it. Any
 *  thread. @return 0, or a system error number */
[[nodiscard]] int start_child(child_program program, pid_t& pid);

} // namespace vocalink::util
