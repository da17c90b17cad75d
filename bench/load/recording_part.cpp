// SPDX-License-Identifier: GPL-3.0-or-later
// Calls with every stream recorded, beside the same calls without, and what the files then hold.
#include "load/daemon_under_load.hpp"
#include "load/parts.hpp"
#include "load/pcap_count.hpp"
#include "load/relay_traffic.hpp"
#include "load/rounds.hpp"
#include "load/statistics.hpp"

#include <chrono>
#include <vector>

namespace vocalink::bench {

namespace {

constexpr double wanted_ratio = 1.25;
constexpr double warm_up_s = 0.3;
constexpr std::chrono::seconds patience{20}; // for one file's move

/** The rounds of one of the two. */
struct recording_rounds {
    std::vector<double> loop_per_million;
    std::vector<double> cpu_per_million;
    std::vector<double> p99_us;
    std::int64_t lost = 0;
    relay_result last; // not counted until it is kept

    void keep_last() {
        loop_per_million.push_back(last.first_thread_per_million());
        cpu_per_million.push_back(last.cpu_per_million());
        p99_us.push_back(last.latency_p99_us);
        lost += last.lost();
    }
};

/** What the files hold, beside what they should. */
struct recording_account {
    std::uint64_t passed = 0;    // packets into and out of the daemon, as the generator saw them
    std::uint64_t recorded = 0;  // records in all files
    std::uint64_t bytes = 0;     // of all files
    std::uint64_t differing = 0; // files with another number than their stream's own counts

    [[nodiscard]] std::int64_t missing() const {
        return static_cast<std::int64_t>(passed) - static_cast<std::int64_t>(recorded);
    }
};

void report_rounds(bench_run& run, std::size_t pairs, const recording_rounds& plain,
                   const recording_rounds& recorded) {
    const cost_ratio ratio(plain.loop_per_million, recorded.loop_per_million);
    report& out = run.figures;
    out.section("recording, " + std::to_string(2 * pairs) + " streams as pcap, " +
                std::to_string(pairs * 100) + " packets a second (bare: not recorded)");
    out.add({.what = "event loop thread, CPU us per relayed packet",
             .bare = fixed(median(plain.loop_per_million), 3),
             .daemon = fixed(median(recorded.loop_per_million), 3),
             .ratio = ratio.text(),
             .wanted = "<= " + fixed(wanted_ratio, 2),
             .missed = ratio.middle() > wanted_ratio});
    out.add_pair("all threads, CPU us per relayed packet", median(plain.cpu_per_million),
                 median(recorded.cpu_per_million), 3);
    out.add_pair("one-way latency, 99th percentile, us", median(plain.p99_us),
                 median(recorded.p99_us), 1);
    out.add_losses("packets lost on their way", plain.lost, recorded.lost);
    if (plain.lost + recorded.lost != 0) {
        out.failure("recording: packets lost on their way: " + std::to_string(plain.lost) +
                    " without, " + std::to_string(recorded.lost) + " with");
    }
}

void report_files(bench_run& run, std::size_t files, const recording_account& account) {
    report& out = run.figures;
    out.add_single("packets recorded, files",
                   std::to_string(account.recorded) + ", " + std::to_string(files));
    out.add_single("bytes written", std::to_string(account.bytes));
    out.add({.what = "packets missing in the files",
             .daemon = std::to_string(account.missing()),
             .wanted = "0",
             .missed = account.missing() != 0});
    out.add({.what = "files that differ from their stream's counts",
             .daemon = std::to_string(account.differing),
             .wanted = "0",
             .missed = account.differing != 0});
    const std::string where = "recording " + std::to_string(files) + " streams: ";
    if (account.missing() != 0) {
        out.failure(where + std::to_string(account.missing()) + " packets missing in the files");
    }
    if (account.differing != 0) {
        out.failure(where + std::to_string(account.differing) + " files are not complete");
    }
    if (account.recorded == 0) {
        out.failure(where + "nothing was recorded");
    }
}

/** Ends the recordings and looks into each file. */
void read_files(daemon_under_load& daemon, const std::vector<std::string>& paths,
                recording_account& account) {
    daemon.stop_recordings(patience);
    const std::vector<leg_packets> legs = daemon.delete_legs();
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const pcap_count file = count_pcap(paths[i]);
        account.recorded += file.packets;
        account.bytes += file.bytes;
        account.differing += file.packets == legs[i].incoming + legs[i].outgoing ? 0 : 1;
    }
}

void measure_recorded_pairs(bench_run& run, std::size_t pairs) {
    const sockaddr_in& remote = run.socket.address();
    daemon_under_load plain_daemon(run.cores.measured);
    daemon_under_load recording_daemon(run.cores.measured);
    const measured_process plain = plain_daemon.make_pairs(pairs, remote);
    const measured_process recorded = recording_daemon.make_pairs(pairs, remote);
    const std::vector<std::string> paths = recording_daemon.start_recordings();

    relay_traffic traffic(run.socket);
    recording_account account;
    recording_rounds of_plain;
    recording_rounds of_recorded;
    const auto relay = [&](const measured_process& target, double seconds) {
        relay_result& last = (target.pid == recorded.pid ? of_recorded : of_plain).last;
        last = traffic.run(target, seconds);
        account.passed += target.pid == recorded.pid ? last.sent + last.received : 0;
        return last.late_share;
    };
    relay(plain, warm_up_s);
    relay(recorded, warm_up_s);
    run_rounds(
        run, "recording, " + std::to_string(pairs) + " pairs", {plain, recorded},
        [&](const measured_process& target) { return relay(target, run.options.seconds); },
        [&] {
            of_plain.keep_last();
            of_recorded.keep_last();
        });
    read_files(recording_daemon, paths, account);
    report_rounds(run, pairs, of_plain, of_recorded);
    report_files(run, paths.size(), account);
    plain_daemon.stop();
    recording_daemon.stop();
}

} // namespace

void measure_recording(bench_run& run) {
    for (const std::size_t pairs : run.options.recorded) {
        measure_recorded_pairs(run, pairs);
    }
}

} // namespace vocalink::bench
