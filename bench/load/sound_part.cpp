// SPDX-License-Identifier: GPL-3.0-or-later
// Sound files played into calls: what a frame costs, in time and in system calls.
#include "load/daemon_under_load.hpp"
#include "load/parts.hpp"
#include "load/rounds.hpp"
#include "load/sound_traffic.hpp"
#include "load/statistics.hpp"

#include <numeric>
#include <vector>

namespace vocalink::bench {

namespace {

constexpr double warm_up_s = 0.3;
// Each player may be one frame off the length of a round. A machine that is busy with other things
// plays more slowly, for a timer that comes more than a frame late does not catch up; far too slowly
// is something else.
constexpr double wanted_pace = 0.98;
constexpr double tolerated_pace = 0.5;

/** All rounds. */
struct sound_rounds {
    std::vector<double> cpu_per_million;
    std::vector<double> core_share;
    double expected = 0;
    std::uint64_t received = 0;
    std::uint64_t missing = 0;
    std::uint64_t wrong = 0;
    std::uint64_t unheard = 0;

    void add(const sound_result& round, double seconds) {
        cpu_per_million.push_back(round.cpu_per_million());
        core_share.push_back(100 * round.cpu_s / seconds);
        expected += round.expected;
        received += round.received;
        missing += round.missing;
        wrong += round.wrong;
        unheard += round.unheard;
    }

    [[nodiscard]] double pace() const { return static_cast<double>(received) / expected; }
};

void add_spotless(report& out, const std::string& what, std::uint64_t count) {
    out.add({.what = what, .daemon = std::to_string(count), .wanted = "0", .missed = count != 0});
    if (count != 0) {
        out.failure("sound: " + std::to_string(count) + " " + what);
    }
}

void report_rounds(bench_run& run, const sound_rounds& played) {
    report& out = run.figures;
    out.section("sound, " + std::to_string(run.options.players) + " looping files of 8,000 bytes");
    out.add_single("CPU us per stream and frame", fixed(median(played.cpu_per_million), 3));
    out.add_single("share of one core, %", fixed(median(played.core_share), 1));
    out.add_single("frames received", std::to_string(played.received));
    out.add({.what = "frames received of those expected, %",
             .daemon = fixed(100 * played.pace(), 2),
             .wanted = ">= " + fixed(100 * wanted_pace, 0),
             .missed = played.pace() < wanted_pace});
    add_spotless(out, "frames missing at the listeners", played.missing);
    add_spotless(out, "frames with wrong content", played.wrong);
    add_spotless(out, "listeners who heard nothing", played.unheard);
    if (played.pace() < tolerated_pace) {
        out.failure("sound: only " + fixed(100 * played.pace(), 1) + " % of the frames came");
    }
}

void measure_cost(bench_run& run, const std::vector<std::string>& files) {
    daemon_under_load daemon(run.cores.measured);
    const measured_process players = daemon.make_players(files, run.socket.address());
    sound_traffic traffic(run.socket);
    (void)traffic.run(players, warm_up_s);
    sound_rounds rounds;
    sound_result last;
    run_rounds(
        run, "sound, " + std::to_string(files.size()) + " files", players,
        [&](const measured_process& target) {
            last = traffic.run(target, run.options.seconds);
            return 0.0; // nothing is sent, so nothing is late
        },
        [&] { rounds.add(last, run.options.seconds); });
    report_rounds(run, rounds);
    daemon.stop();
}

void report_calls(bench_run& run, const counter_values& calls, std::uint64_t frames) {
    struct kind {
        const char* what;
        counter_place place;
    };
    const auto per_frame = [frames](std::uint64_t count) {
        return static_cast<double>(count) / static_cast<double>(frames);
    };
    report& out = run.figures;
    const auto all = std::accumulate(calls.begin(), calls.end(), std::uint64_t{0});
    out.add_single("system calls per frame (" + std::to_string(frames) + " counted)",
                   fixed(per_frame(all), 4));
    const double reads = per_frame(calls[counted_reads]);
    out.add(
        {.what = "  file reads", .daemon = fixed(reads, 4), .wanted = "< 1", .missed = reads >= 1});
    for (const kind& each :
         {kind{"  sends", counted_sends}, kind{"  waits for events", counted_waits},
          kind{"  receptions", counted_receptions}, kind{"  others", counted_others}}) {
        out.add_single(each.what, fixed(per_frame(calls[each.place]), 4));
    }
    if (reads >= 1) {
        out.failure("sound: a file read for every frame");
    }
}

/** In a daemon of its own: counting costs time. */
void count_calls(bench_run& run, const std::vector<std::string>& files) {
    progress("sound, system calls");
    daemon_under_load daemon(run.cores.measured, daemon_under_load::counting::system_calls);
    const measured_process players = daemon.make_players(files, run.socket.address());
    sound_traffic traffic(run.socket);
    (void)traffic.run(players, warm_up_s);
    counter_values calls = daemon.counts();
    const sound_result round = traffic.run(players, run.options.seconds);
    const counter_values after = daemon.counts();
    for (std::size_t place = 0; place < calls.size(); ++place) {
        calls[place] = after[place] - calls[place];
    }
    if (round.received == 0) {
        run.figures.failure("sound: no frames while system calls were counted");
    } else {
        report_calls(run, calls, round.received);
    }
    daemon.stop();
}

} // namespace

void measure_sound(bench_run& run) {
    const harness::temporary_directory directory;
    const std::vector<std::string> files = write_sound_files(directory.path(), run.options.players);
    measure_cost(run, files);
    count_calls(run, files);
}

} // namespace vocalink::bench
