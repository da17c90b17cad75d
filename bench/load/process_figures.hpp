// SPDX-License-Identifier: GPL-3.0-or-later
// What the system knows of a process under measurement: its processor time, its memory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <signal.h>
#include <sys/types.h>

namespace vocalink::bench {

/** A process that receives a load: the daemon or a bare loop. Legs 2k and 2k+1 are a pair. */
struct server {
    pid_t pid = -1;
    std::vector<std::uint16_t> ports; // of its legs, host order, all on 127.0.0.1
};

/** Processor seconds that all threads of a process have used so far. */
[[nodiscard]] double cpu_seconds(pid_t pid);

/** Processor seconds of the first thread alone, which in the daemon runs the event loop. Exact while
 *  that thread waits; of one that runs, the last few milliseconds may be missing. */
[[nodiscard]] double loop_cpu_seconds(pid_t pid);

/** Seconds in which the processors of the machine did something, all together. */
[[nodiscard]] double machine_busy_seconds();

enum class role { generator, server };

/** Pins every thread that the process has now: the generator to the lowest core that this process
 *  was allowed at its start, servers to the highest. If both are one, the figures show the
 *  competition for it. */
void pin(pid_t pid, role part);

/** KiB in the lines of the process's memory account that begin so: "Private_" is what belongs to it
 *  alone, "Rss:" what is resident. The kernel's socket memory is in neither. */
[[nodiscard]] std::int64_t memory_kib(pid_t pid, const std::string& name_start);

[[nodiscard]] int open_descriptors(pid_t pid);

/** Stops a process while another is measured on the same core; lets it go on when it ends. */
class paused_process {
  public:
    explicit paused_process(pid_t paused) : pid(paused) { kill(pid, SIGSTOP); }
    paused_process(const paused_process&) = delete;
    ~paused_process() { kill(pid, SIGCONT); }

  private:
    const pid_t pid;
};

} // namespace vocalink::bench
