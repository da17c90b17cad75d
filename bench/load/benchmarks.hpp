// SPDX-License-Identifier: GPL-3.0-or-later
// The benchmarks of the whole daemon, and the rows of the table that come of them.
#pragma once

#include "load/traffic.hpp"

#include <benchmark/benchmark.h>

#include <string>
#include <thread>
#include <utility>

namespace vocalink::bench {

/** Seconds that one server is measured for; set before the first benchmark. */
inline double round_s = 1.5;

constexpr double warm_up_s = 0.3;

// Each starts what it measures and ends it again. @throws std::runtime_error when that fails.

/** Two-party calls, the daemon beside a bare relay: processor time, loss, latency. */
void measure_relay(benchmark::State& state);

/** Bridges that mix every 30 ms, the daemon beside a bare mixing loop: processor time. */
void measure_mix(benchmark::State& state);

/** Conferences of telephones, all members in rooms of the second size; the daemon beside a bare loop
 *  that reads until empty and mixes every 20 ms: processor time. */
void measure_conference(benchmark::State& state);

/** Calls with every stream recorded, the daemon beside itself without: processor time of its event
 *  loop and with that of its workers, packets missing in the files. */
void measure_recording(benchmark::State& state);

/** Sound files played into calls: processor time and system calls per frame, frames missing. */
void measure_sound(benchmark::State& state);

/** Controllers that never pause: the longest that the event loop works without looking at packets. */
void measure_commands(benchmark::State& state);

/** Two-party calls: how long a controller waits for the reply to a lone command meanwhile. */
void measure_reply(benchmark::State& state);

/** Heap allocations per relayed packet and per member and cycle of a mix and of a conference. */
void measure_allocations(benchmark::State& state);

/** Memory of an idle stream. */
void measure_idle_memory(benchmark::State& state);

/** Memory and descriptors over many streams' lives. */
void measure_many_lives(benchmark::State& state);

/** The size that a benchmark was registered with. */
[[nodiscard]] inline std::size_t size_of(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

/** A row of the daemon alone. A row becomes the counters "row: bare", "row: daemon", "row: ratio"
 *  and "row: wanted", as far as it has them; bench/report/table.py prints them. */
void add_row(benchmark::State& state, const std::string& what, double daemon);

/** A row with a rival. @param wanted  at most so many times the rival's; 0 for no target */
void add_row(benchmark::State& state, const std::string& what, double bare, double daemon,
             double wanted = 0);

/** A row of what must not happen, whatever the machine does: the run fails unless it is 0. */
void expect_none(benchmark::State& state, const std::string& what, std::uint64_t count);

/** Rows of lost packets, which count against the daemon when the rival lost none, and of what
 *  disturbed the two. */
void add_losses(benchmark::State& state, const round_result& bare, const round_result& daemon);

/** Prints that something happened which must not: the run has failed. */
void fail(const std::string& what);

/** Runs what is registered. @return whether something ran and nothing failed */
[[nodiscard]] bool run_all();

/** Runs a round of this load on each of two servers on the same core, each while the other stands
 *  still. Which goes first changes from call to call, so that neither always follows the other.
 *  @param warm_s  before the measurement */
template <class Traffic>
[[nodiscard]] std::pair<round_result, round_result>
run_by_turns(load_socket& socket, const server& bare, const server& daemon,
             double warm_s = warm_up_s) {
    static bool bare_first = false;
    bare_first = !bare_first;
    round_result of_bare, of_daemon;
    for (const bool is_bare : {bare_first, !bare_first}) {
        const paused_process paused((is_bare ? daemon : bare).pid);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        Traffic load(socket, is_bare ? bare : daemon);
        (void)load.run(warm_s);
        (is_bare ? of_bare : of_daemon) = load.run(round_s);
    }
    return {std::move(of_bare), std::move(of_daemon)};
}

} // namespace vocalink::bench
