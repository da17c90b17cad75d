// SPDX-License-Identifier: GPL-3.0-or-later
// The thread that writes the log, so that nobody who logs waits for whoever reads it.
#pragma once

#include <string_view>

namespace vocalink::util {

/** While one exists, lines are queued and a thread of its own writes them to standard error, in
 *  order and whole. Without one they are written at once, by whoever logs.
 *
 *  Standard error may be anything: a slow disk, a terminal that is stopped, a pipe that nobody
 *  reads. It is shared with other processes, so its flags are left alone. At most 1 MiB is
 *  queued. Lines beyond that are dropped until the queue has been written; a line in their place
 *  counts them.
 *
 *  One at a time, owned by the process entry, made before the first worker and ended after the
 *  last. */
class log_writer {
  public:
    /** Starts the thread. Ends the process with status 1 when it cannot. */
    log_writer();
    log_writer(const log_writer&) = delete;
    log_writer& operator=(const log_writer&) = delete;
    ~log_writer() { finish(); }

    /** Writes what is queued, as long as somebody takes it; gives up after a second without
     *  progress, and after five seconds. For ends of the process that run no destructors. */
    static void finish();
};

/** Lines dropped since the process began. Any thread. */
[[nodiscard]] long long dropped_log_lines();

/** Writes or queues one or more lines, each with its line end. Any thread. Keeps errno. */
void write_log(std::string_view lines);

} // namespace vocalink::util
