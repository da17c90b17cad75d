// SPDX-License-Identifier: GPL-3.0-or-later
// Rounds by turns, and whether anything else on the machine spoilt them.
#pragma once

#include "load/measured_process.hpp"
#include "load/parts.hpp"

#include <functional>
#include <string>

namespace vocalink::bench {

/** Processor time that processes other than the two given ones use, from construction on. */
class disturbance_meter {
  public:
    /** @param measured  the server; the other is this process */
    explicit disturbance_meter(pid_t measured);

    /** In processors: 0.1 is a tenth of one. */
    [[nodiscard]] double others() const;

  private:
    pid_t pid;
    std::int64_t start_ns;
    double busy_at_start_s; // of the whole machine
    double own_at_start_s;  // of the two
};

/** Two servers that are measured by turns on the same core; while one works the other stands
 *  still. */
struct rivals {
    const measured_process& bare;
    const measured_process& daemon;
};

/** Measures one server once and returns the share of the packets that were sent late. */
using round_half = std::function<double(const measured_process&)>;

/** Runs the wanted number of rounds, each on the bare loop and on the daemon. A round that others
 *  disturbed is repeated, within limits; what cannot be helped is noted.
 *  @param measure  does one half of a round and keeps its result by itself
 *  @param keep     called after both halves: the results count
 *  A half that is not kept is overwritten by the next. */
void run_rounds(bench_run& run, const std::string& what, const rivals& servers,
                const round_half& measure, const std::function<void()>& keep);

/** The same for one server without a rival. */
void run_rounds(bench_run& run, const std::string& what, const measured_process& alone,
                const round_half& measure, const std::function<void()>& keep);

} // namespace vocalink::bench
