// SPDX-License-Identifier: GPL-3.0-or-later
// Two-party calls through the daemon and through a bare relay, by turns.
#include "load/bare_relay.hpp"
#include "load/child_process.hpp"
#include "load/daemon_under_load.hpp"
#include "load/parts.hpp"
#include "load/relay_traffic.hpp"
#include "load/rounds.hpp"
#include "load/statistics.hpp"

#include <vector>

namespace vocalink::bench {

namespace {

constexpr double wanted_ratio = 1.15;
constexpr double warm_up_s = 0.3;

/** The rounds of one of the two. */
struct relay_rounds {
    std::vector<double> cpu_per_million;
    std::vector<double> median_us;
    std::vector<double> p99_us;
    std::vector<double> core_share;
    std::int64_t lost = 0;
    std::uint64_t misrouted = 0;

    void add(const relay_result& round, double seconds) {
        cpu_per_million.push_back(round.cpu_per_million());
        median_us.push_back(round.latency_median_us);
        p99_us.push_back(round.latency_p99_us);
        core_share.push_back(100 * round.cpu_s / seconds);
        lost += round.lost();
        misrouted += round.misrouted;
    }

    /** Nothing was lost and nothing was still waiting when the next packet of its leg came. */
    [[nodiscard]] bool held() const {
        return lost == 0 && median(p99_us) < 1e6 * relay_traffic::packet_interval_s;
    }
};

void report_rounds(bench_run& run, std::size_t pairs, const relay_rounds& bare,
                   const relay_rounds& daemon) {
    const cost_ratio ratio(bare.cpu_per_million, daemon.cpu_per_million);
    report& out = run.figures;
    out.section("relay, " + std::to_string(pairs) + " pairs, " + std::to_string(pairs * 100) +
                " packets a second");
    out.add({.what = "CPU s per million packets",
             .bare = fixed(median(bare.cpu_per_million), 3),
             .daemon = fixed(median(daemon.cpu_per_million), 3),
             .ratio = ratio.text(),
             .wanted = "<= " + fixed(wanted_ratio, 2),
             .missed = ratio.middle() > wanted_ratio});
    out.add_pair("share of one core, %", median(bare.core_share), median(daemon.core_share), 1);
    out.add_losses("packets lost", bare.lost, daemon.lost);
    out.add_pair("one-way latency, median, us", median(bare.median_us), median(daemon.median_us),
                 1);
    out.add_pair("one-way latency, 99th percentile, us", median(bare.p99_us), median(daemon.p99_us),
                 1);
    out.add({.what = "held on one core",
             .bare = bare.held() ? "yes" : "no",
             .daemon = daemon.held() ? "yes" : "no",
             .wanted = bare.held() ? "yes" : "",
             .missed = bare.held() && !daemon.held()});

    const std::string where = std::to_string(pairs) + " relayed pairs: ";
    if (daemon.lost != 0 && bare.lost == 0) {
        out.failure(where + std::to_string(daemon.lost) + " packets lost");
    }
    if (daemon.misrouted + bare.misrouted != 0) {
        out.failure(where + "packets came back wrong");
    }
}

void measure_pairs(bench_run& run, std::size_t pairs) {
    const std::size_t legs = 2 * pairs;
    const sockaddr_in& remote = run.socket.address();
    const child_process bare(legs, [&](int report_fd) { run_bare_relay(legs, remote, report_fd); });
    daemon_under_load daemon(run.cores.measured);
    const measured_process calls = daemon.make_pairs(pairs, remote);
    pin_to_core(bare.process().pid, run.cores.measured);

    relay_traffic traffic(run.socket);
    (void)traffic.run(bare.process(), warm_up_s);
    (void)traffic.run(calls, warm_up_s);
    relay_rounds of_bare;
    relay_rounds of_daemon;
    relay_result last_bare;
    relay_result last_daemon;
    run_rounds(
        run, "relay, " + std::to_string(pairs) + " pairs", {bare.process(), calls},
        [&](const measured_process& target) {
            relay_result& last = target.pid == calls.pid ? last_daemon : last_bare;
            last = traffic.run(target, run.options.seconds);
            return last.late_share;
        },
        [&] {
            of_bare.add(last_bare, run.options.seconds);
            of_daemon.add(last_daemon, run.options.seconds);
        });
    report_rounds(run, pairs, of_bare, of_daemon);
    daemon.stop();
}

} // namespace

void measure_relay(bench_run& run) {
    for (const std::size_t pairs : run.options.pairs) {
        measure_pairs(run, pairs);
    }
}

} // namespace vocalink::bench
