// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon's memory and descriptors: many idle streams, and many streams made and deleted.
#include "load/daemon_under_load.hpp"
#include "load/parts.hpp"

#include <array>
#include <string>

namespace vocalink::bench {

namespace {

void measure_idle(bench_run& run, const std::string& encoding) {
    progress("memory, " + std::to_string(run.options.idle_streams) + " idle streams, " + encoding);
    daemon_under_load daemon(run.cores.measured);
    const std::int64_t before = private_bytes(daemon.pid());
    for (std::size_t i = 0; i < run.options.idle_streams; ++i) {
        daemon.make_stream(numbered("s", i), run.socket.address(), encoding);
    }
    const auto grown = static_cast<double>(private_bytes(daemon.pid()) - before);
    run.figures.add_single("bytes per idle rtp_stream, " + encoding,
                           fixed(grown / static_cast<double>(run.options.idle_streams), 0));
    daemon.stop();
}

/** A number of streams live at once, of all kinds of codec state, half of them in bridges. */
void make_and_delete(daemon_under_load& daemon, std::size_t streams, const sockaddr_in& remote) {
    static constexpr std::array<const char*, 6> encodings{"PCMU",   "G729", "ILBC20",
                                                          "ILBC30", "G722", "G711A"};
    daemon.command("new vocalink room");
    for (std::size_t i = 0; i < streams; ++i) {
        const std::string id = numbered("s", i);
        daemon.make_stream(id, remote, encodings[i % encodings.size()]);
        if (i % 2 == 0) {
            daemon.command("join room " + id);
        }
    }
    for (std::size_t i = 0; i < streams; ++i) {
        daemon.command(numbered("delete stream s", i));
    }
    daemon.command("delete bridge room");
}

struct footprint {
    std::int64_t resident = 0;
    int descriptors = 0;
};

footprint report_footprint(bench_run& run, pid_t pid, std::size_t streams) {
    const footprint now{resident_bytes(pid), open_descriptors(pid)};
    run.figures.add_single(
        "after " + std::to_string(streams) + " streams: resident KiB, descriptors",
        std::to_string(now.resident / 1024) + ", " + std::to_string(now.descriptors));
    return now;
}

void measure_lives(bench_run& run) {
    constexpr std::size_t quarters = 4;
    constexpr std::size_t at_once = 250;
    constexpr std::int64_t tolerated_growth_bytes = 512 << 10;

    daemon_under_load daemon(run.cores.measured);
    footprint settled = report_footprint(run, daemon.pid(), 0);
    footprint last = settled;
    for (std::size_t quarter = 1; quarter <= quarters; ++quarter) {
        const std::size_t goal = run.options.cycled_streams * quarter / quarters;
        progress("memory, up to " + std::to_string(goal) + " streams made and deleted");
        std::size_t done = run.options.cycled_streams * (quarter - 1) / quarters;
        while (done < goal) {
            const std::size_t now = std::min(at_once, goal - done);
            make_and_delete(daemon, now, run.socket.address());
            done += now;
        }
        last = report_footprint(run, daemon.pid(), goal);
        if (quarter == 1) {
            settled = last; // by then the heap has grown to what at_once streams need
        }
    }
    if (last.resident - settled.resident > tolerated_growth_bytes) {
        run.figures.failure("memory grows with the number of streams made and deleted");
    }
    if (last.descriptors != settled.descriptors) {
        run.figures.failure("descriptors are not given back");
    }
    daemon.stop();
}

} // namespace

void measure_memory(bench_run& run) {
    run.figures.section("memory");
    for (const char* encoding : {"PCMU", "G729", "ILBC20"}) {
        measure_idle(run, encoding);
    }
    measure_lives(run);
}

} // namespace vocalink::bench
