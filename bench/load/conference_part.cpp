// SPDX-License-Identifier: GPL-3.0-or-later
// Conferences in the daemon and in a bare mixing loop, by turns.
#include "load/bare_mixer.hpp"
#include "load/child_process.hpp"
#include "load/conference_traffic.hpp"
#include "load/daemon_under_load.hpp"
#include "load/parts.hpp"
#include "load/rounds.hpp"
#include "load/statistics.hpp"

#include <vector>

namespace vocalink::bench {

namespace {

constexpr double wanted_ratio = 1.25;

/** The rounds of one of the two. */
struct conference_rounds {
    std::vector<double> cpu_per_million;
    std::int64_t gaps = 0;
    std::uint64_t unheard = 0;

    void add(const conference_result& round) {
        cpu_per_million.push_back(round.cpu_per_million());
        gaps += static_cast<std::int64_t>(round.gaps);
        unheard += round.unheard;
    }
};

void report_rounds(bench_run& run, std::size_t members, const conference_rounds& bare,
                   const conference_rounds& daemon, double share_read) {
    const cost_ratio ratio(bare.cpu_per_million, daemon.cpu_per_million);
    report& out = run.figures;
    out.section("conference, " + std::to_string(members) + " members");
    out.add({.what = "CPU s per million members and cycles",
             .bare = fixed(median(bare.cpu_per_million), 3),
             .daemon = fixed(median(daemon.cpu_per_million), 3),
             .ratio = ratio.text(),
             .wanted = "<= " + fixed(wanted_ratio, 2),
             .missed = ratio.middle() > wanted_ratio});
    out.add_losses("packets missing at the members", bare.gaps, daemon.gaps);
    out.add_single("packets read of those sent, %", fixed(100 * share_read, 1));
    const std::string where = "conference of " + std::to_string(members) + ": ";
    if (daemon.gaps != 0 && bare.gaps == 0) {
        out.failure(where + std::to_string(daemon.gaps) + " packets missing");
    }
    if (daemon.unheard + bare.unheard != 0) {
        out.failure(where + "members who heard nothing: " + std::to_string(daemon.unheard) +
                    " of the daemon's, " + std::to_string(bare.unheard) + " of the bare loop's");
    }
}

/** Ends the members. @return the packets that the daemon has read from them */
std::uint64_t read_at_last(daemon_under_load& daemon) {
    std::uint64_t packets = 0;
    for (const leg_packets& leg : daemon.delete_legs()) {
        packets += leg.incoming;
    }
    return packets;
}

void measure_members(bench_run& run, std::size_t members) {
    const sockaddr_in& remote = run.socket.address();
    const child_process bare(members,
                             [&](int report_fd) { run_bare_mixer(members, remote, report_fd); });
    daemon_under_load daemon(run.cores.measured);
    const measured_process room = daemon.make_conference(members, remote);
    pin_to_core(bare.process().pid, run.cores.measured);

    conference_traffic traffic(run.socket);
    conference_rounds of_bare;
    conference_rounds of_daemon;
    conference_result last_bare;
    conference_result last_daemon;
    std::uint64_t sent_to_daemon = 0;
    run_rounds(
        run, "conference, " + std::to_string(members) + " members", {bare.process(), room},
        [&](const measured_process& target) {
            conference_result& last = target.pid == room.pid ? last_daemon : last_bare;
            last = traffic.run(target, run.options.seconds);
            sent_to_daemon += target.pid == room.pid ? last.sent_in_all : 0;
            return last.late_share;
        },
        [&] {
            of_bare.add(last_bare);
            of_daemon.add(last_daemon);
        });
    const double share_read =
        static_cast<double>(read_at_last(daemon)) / static_cast<double>(sent_to_daemon);
    report_rounds(run, members, of_bare, of_daemon, share_read);
    daemon.stop();
}

} // namespace

void measure_conference(bench_run& run) {
    for (const std::size_t members : run.options.members) {
        measure_members(run, members);
    }
}

} // namespace vocalink::bench
