// SPDX-License-Identifier: GPL-3.0-or-later
// The parts of a run. Each starts what it measures and ends it again.
#pragma once

#include "load/measured_process.hpp"
#include "load/options.hpp"
#include "load/packet_socket.hpp"
#include "load/report.hpp"

namespace vocalink::bench {

/** What all parts share; owned by the entry function. */
struct bench_run {
    load_options options;
    core_plan cores;
    packet_socket socket;
    report figures;
};

/** Two-party calls, the daemon beside a bare relay: processor time, loss, latency. */
void measure_relay(bench_run& run);

/** Conferences, the daemon beside a bare mixing loop: processor time and its growth. */
void measure_conference(bench_run& run);

/** Sound files played into calls: processor time and system calls per frame, frames missing. */
void measure_sound(bench_run& run);

/** Calls with every stream recorded, the daemon beside itself without: processor time of its event
 *  loop, packets missing in the files. */
void measure_recording(bench_run& run);

/** Heap allocations of the daemon per relayed packet and per member and mixing cycle. */
void measure_allocations(bench_run& run);

/** Memory of an idle stream, and memory and descriptors over many streams' lives. */
void measure_memory(bench_run& run);

/** Takes the results of vocalink_bench over into the table; no part of its own. */
void report_arithmetic(bench_run& run);

} // namespace vocalink::bench
