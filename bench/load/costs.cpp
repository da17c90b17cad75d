// SPDX-License-Identifier: GPL-3.0-or-later
// What the daemon costs by itself: players, allocations, memory.
#include "load/benchmarks.hpp"
#include "load/loaded_daemon.hpp"

#include <array>
#include <stdexcept>

namespace vocalink::bench {

namespace {

/** Counts of a run of this load on a counting daemon, and the packets received in it. */
template <class Traffic>
std::pair<counter_values, std::uint64_t> count(load_socket& socket, const loaded_daemon& daemon) {
    Traffic load(socket, daemon.process());
    {
        // Every leg has something to read when the daemon goes on: its event loop's arrays are then
        // as large as they will ever be.
        const paused_process paused(daemon.process().pid);
        (void)load.run(warm_up_s);
    }
    (void)load.run(warm_up_s);
    const counter_values before = daemon.counts();
    const std::uint64_t packets = load.run(round_s).received;
    counter_values counts = daemon.counts();
    for (std::size_t kind = 0; kind < counts.size(); ++kind) {
        counts[kind] -= before[kind];
    }
    if (packets == 0) {
        throw std::runtime_error("no traffic while calls were counted");
    }
    return {counts, packets};
}

/** In a daemon of its own: counting costs time. */
void count_calls_of_players(benchmark::State& state, const std::vector<std::string>& files) {
    load_socket socket;
    loaded_daemon daemon(socket.port(), true);
    daemon.add_players(files);
    const auto [calls, frames] = count<sound_traffic>(socket, daemon);
    using row = std::pair<const char*, counted_kind>;
    for (const auto& [what, kind] :
         {row{"waits for events", event_waits}, row{"file reads", file_reads}, row{"sends", sends},
          row{"receptions", receptions}, row{"others", other_calls}}) {
        add_row(state, std::string("system calls per frame, ") + what,
                static_cast<double>(calls[kind]) / static_cast<double>(frames));
    }
    if (calls[file_reads] >= frames) {
        fail("sound: a file read for every frame");
    }
}

/** A number of streams live at once, of all kinds of codec state, half of them in a bridge. */
void make_and_delete(loaded_daemon& daemon, std::int64_t streams) {
    static constexpr std::array encodings{"PCMU", "G729", "ILBC20", "ILBC30", "G722", "G711A"};
    daemon.command("new vocalink room");
    for (std::int64_t i = 0; i < streams; ++i) {
        const std::string id = "s" + std::to_string(i);
        daemon.add_stream(id, encodings[static_cast<std::size_t>(i) % encodings.size()]);
        if (i % 2 == 0) {
            daemon.command("join room " + id);
        }
    }
    (void)daemon.delete_legs();
    daemon.command("delete bridge room");
}

} // namespace

void measure_sound(benchmark::State& state) {
    const harness::temporary_directory directory;
    const auto files = write_sound_files(directory.path(), size_of(state));
    load_socket socket;
    loaded_daemon daemon(socket.port());
    daemon.add_players(files);
    sound_traffic load(socket, daemon.process());
    (void)load.run(warm_up_s);
    const round_result round = load.run(round_s);
    add_row(state, "CPU us per stream and frame", round.cpu_us());
    add_row(state, "share of one core, %", 100 * round.cpu_s / round.seconds);
    add_row(state, "frames received", static_cast<double>(round.received));
    // A busy machine plays more slowly, for a timer that comes over a frame late does not catch up.
    const double expected =
        round.seconds / sound_traffic::frame_s * static_cast<double>(files.size());
    add_row(state, "frames short of those expected, %",
            100 * (1 - static_cast<double>(round.received) / expected));
    state.counters["frames short of those expected, %: wanted"] = 2;
    expect_none(state, "frames missing at the listeners", round.missing);
    expect_none(state, "frames with wrong content", round.wrong);
    expect_none(state, "listeners who heard nothing", round.unheard);
    count_calls_of_players(state, files);
}

void measure_allocations(benchmark::State& state) {
    // Members are spoken to in their own encoding; the generator speaks PCMU only, which those of
    // another read and refuse.
    const std::size_t members = size_of(state);
    const std::vector<std::string> codecs{"PCMU", "G711A", "G722", "G729", "ILBC20", "ILBC30"};
    const auto count_in = [&](const std::string& what, auto fill, auto count_calls) {
        load_socket socket;
        loaded_daemon daemon(socket.port(), true);
        fill(daemon);
        const auto [calls, events] = count_calls(socket, daemon);
        add_row(state, "allocations per " + what + ", of so many", static_cast<double>(events));
        expect_none(state, "allocations per " + what, calls[heap_allocations]);
    };
    count_in(
        "relayed packet", [](loaded_daemon& daemon) { daemon.add_pairs(50); },
        count<relay_traffic>);
    count_in(
        "PCMU member and cycle of a mix", [&](loaded_daemon& daemon) { daemon.add_mix(members); },
        count<conference_traffic>);
    count_in(
        "member and cycle of a mix of codecs",
        [&](loaded_daemon& daemon) { daemon.add_mix(members, codecs); }, count<conference_traffic>);
    count_in(
        "member and tick of a conference of codecs",
        [&](loaded_daemon& daemon) { daemon.add_conferences(members, members, codecs); },
        count<telephone_traffic>);
}

void measure_idle_memory(benchmark::State& state) {
    const std::int64_t streams = state.range(0);
    for (const std::string encoding : {"PCMU", "G729", "ILBC20"}) {
        loaded_daemon daemon(9);
        const std::int64_t before = memory_kib(daemon.process().pid, "Private_");
        for (std::int64_t i = 0; i < streams; ++i) {
            daemon.add_stream("s" + std::to_string(i), encoding);
        }
        const std::int64_t grown = memory_kib(daemon.process().pid, "Private_") - before;
        add_row(state, "bytes per idle rtp_stream, " + encoding,
                1024 * static_cast<double>(grown) / static_cast<double>(streams));
    }
}

void measure_many_lives(benchmark::State& state) {
    constexpr std::int64_t at_once = 250, quarters = 4;
    constexpr std::int64_t tolerated_growth_kib = 512;
    loaded_daemon daemon(9);
    const pid_t pid = daemon.process().pid;
    const auto add_footprint = [&](std::int64_t quarter) {
        const std::string after = " after " + std::to_string(quarter) + "/4 of the streams";
        add_row(state, "resident KiB" + after, static_cast<double>(memory_kib(pid, "Rss:")));
        add_row(state, "descriptors" + after, open_descriptors(pid));
    };
    add_footprint(0);
    std::int64_t settled_kib = 0;
    const int descriptors = open_descriptors(pid);
    for (std::int64_t quarter = 1; quarter <= quarters; ++quarter) {
        for (std::int64_t done = 0; done < state.range(0) / quarters; done += at_once) {
            make_and_delete(daemon, at_once);
        }
        add_footprint(quarter);
        if (quarter == 1) {
            settled_kib = memory_kib(pid, "Rss:"); // what at_once streams need, and no more
        }
    }
    if (memory_kib(pid, "Rss:") - settled_kib > tolerated_growth_kib) {
        fail("memory grows with the number of streams made and deleted");
    }
    expect_none(state, "descriptors not given back",
                static_cast<std::uint64_t>(open_descriptors(pid) - descriptors));
}

} // namespace vocalink::bench
