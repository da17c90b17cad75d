// SPDX-License-Identifier: GPL-3.0-or-later
// What is known of a process under measurement: its legs, its processor time, its memory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vocalink::bench {

/** A server that receives a load: the daemon or a bare loop. Legs 2k and 2k+1 are a pair. */
struct measured_process {
    pid_t pid = -1;
    std::vector<std::uint16_t> ports; // of its legs, host order, all on 127.0.0.1
};

/** Processor seconds that all threads of a process have used so far, from the scheduler's own
 *  count. */
[[nodiscard]] double cpu_seconds(pid_t pid);

/** Processor seconds of the process's first thread alone, which in the daemon runs the event loop.
 *  Exact while that thread waits; of one that runs, the last few milliseconds may be missing. */
[[nodiscard]] double first_thread_cpu_seconds(pid_t pid);

/** The processors of a run. With only one to choose from both are the same, and the figures show
 *  the competition for it. */
struct core_plan {
    int generator = 0;
    int measured = 0;
};
[[nodiscard]] core_plan plan_cores();

/** Pins every thread that the process has now. */
void pin_to_core(pid_t pid, int core);

/** Raises this process's soft descriptor limit to the hard one; children inherit it. */
void raise_descriptor_limit();

/** Bytes of memory that belong to the process alone. The kernel's socket memory is not in them. */
[[nodiscard]] std::int64_t private_bytes(pid_t pid);

/** Bytes of the process that are resident, shared libraries included. */
[[nodiscard]] std::int64_t resident_bytes(pid_t pid);

[[nodiscard]] int open_descriptors(pid_t pid);

/** Stops a process while another is measured on the same core; lets it go on when it ends. */
class paused_process {
  public:
    explicit paused_process(pid_t paused);
    paused_process(const paused_process&) = delete;
    paused_process& operator=(const paused_process&) = delete;
    ~paused_process();

  private:
    pid_t pid;
};

} // namespace vocalink::bench
