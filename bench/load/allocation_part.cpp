// SPDX-License-Identifier: GPL-3.0-or-later
// Counting the daemon's heap allocations while it relays and while it mixes.
#include "load/conference_traffic.hpp"
#include "load/daemon_under_load.hpp"
#include "load/parts.hpp"
#include "load/relay_traffic.hpp"

#include <string>
#include <vector>

namespace vocalink::bench {

namespace {

constexpr std::size_t counted_pairs = 50;
constexpr std::size_t counted_members = 12;
constexpr double warm_up_s = 0.3;

void report_count(bench_run& run, const std::string& what, std::uint64_t allocations,
                  std::uint64_t events) {
    const double each = static_cast<double>(allocations) / static_cast<double>(events);
    run.figures.add({.what = what + " (" + std::to_string(events) + " counted)",
                     .daemon = fixed(each, 6),
                     .wanted = "0",
                     .missed = allocations != 0});
    if (allocations != 0) {
        run.figures.failure(std::to_string(allocations) + " allocations, " + what);
    }
    if (events == 0) {
        run.figures.failure("no traffic, " + what);
    }
}

void count_relay(bench_run& run) {
    daemon_under_load daemon(run.cores.measured, daemon_under_load::counting::allocations);
    const measured_process calls = daemon.make_pairs(counted_pairs, run.socket.address());
    relay_traffic traffic(run.socket);
    {
        // Every leg has something to read when the daemon goes on: its event loop's arrays are then
        // as large as they will ever be.
        const paused_process paused(calls.pid);
        (void)traffic.run(calls, warm_up_s);
    }
    (void)traffic.run(calls, warm_up_s);
    const std::uint64_t before = daemon.counts()[counted_allocations];
    const relay_result round = traffic.run(calls, run.options.seconds);
    report_count(run, "per relayed packet", daemon.counts()[counted_allocations] - before,
                 round.received);
    daemon.stop();
}

void count_conference(bench_run& run, const std::vector<std::string>& encodings,
                      const std::string& what) {
    daemon_under_load daemon(run.cores.measured, daemon_under_load::counting::allocations);
    const measured_process room =
        daemon.make_conference(counted_members, run.socket.address(), encodings);
    conference_traffic traffic(run.socket);
    (void)traffic.run(room, warm_up_s);
    const std::uint64_t before = daemon.counts()[counted_allocations];
    const conference_result round = traffic.run(room, run.options.seconds);
    report_count(run, what, daemon.counts()[counted_allocations] - before, round.received_in_all);
    daemon.stop();
}

} // namespace

void measure_allocations(bench_run& run) {
    progress("allocations");
    run.figures.section("heap allocations");
    count_relay(run);
    count_conference(run, {"PCMU"}, "per PCMU member and cycle");
    // These members are spoken to in their own encoding; the generator speaks PCMU only, which they
    // read and refuse.
    count_conference(run, {"PCMU", "G729", "ILBC20", "ILBC30"},
                     "per member and cycle, PCMU, G729, ILBC20, ILBC30");
}

} // namespace vocalink::bench
