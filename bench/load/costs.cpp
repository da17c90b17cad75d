// SPDX-License-Identifier: GPL-3.0-or-later
// What the daemon costs by itself: players, allocations, memory.
#include "load/benchmarks.hpp"
#include "load/loaded_daemon.hpp"

#include <array>
#include <stdexcept>
#include <tuple>
#include <vector>

namespace vocalink::bench {

namespace {

const std::vector<std::string> all_codecs{"PCMU", "G711A", "G722", "G729", "ILBC20", "ILBC30"};

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
    daemon.clear_counts();
    const std::uint64_t packets = load.run(round_s).received;
    if (packets == 0) {
        throw std::runtime_error("no traffic while calls were counted");
    }
    return {daemon.counts(), packets};
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

/** Twice so many streams live at once, of all kinds of codec state, half of them in a bridge. */
void make_and_delete(loaded_daemon& daemon, std::size_t streams) {
    daemon.add_bridges("vocalink", streams, streams, all_codecs);
    for (std::size_t i = 0; i < streams; ++i) {
        daemon.add_stream("s" + std::to_string(i), all_codecs[i % all_codecs.size()]);
    }
    (void)daemon.delete_legs();
    daemon.command("delete bridge room0");
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
    expect_none(state, "frames missing at the listeners", round.lost);
    expect_none(state, "frames with wrong content", round.wrong);
    expect_none(state, "listeners who heard nothing", round.unheard);
    count_calls_of_players(state, files);
}

void measure_allocations(benchmark::State& state) {
    // Members are spoken to in their own encoding; the generator speaks PCMU only, which those of
    // another read and refuse.
    const std::size_t members = size_of(state);
    using load = std::tuple<std::string, const char*, std::size_t, std::size_t,
                            std::vector<std::string>, decltype(&count<relay_traffic>)>;
    for (const auto& [what, bridges, legs, legs_each, codecs, count_calls] :
         {load{"relayed packet", "vocalink", 100, 2, {"PCMU"}, count<relay_traffic>},
          load{"PCMU member and cycle of a mix",
               "vocalink",
               members,
               members,
               {"PCMU"},
               count<conference_traffic>},
          load{"member and cycle of a mix of codecs", "vocalink", members, members, all_codecs,
               count<conference_traffic>},
          load{"member and tick of a conference of codecs", "conference", members, members,
               all_codecs, count<telephone_traffic>}}) {
        load_socket socket;
        loaded_daemon daemon(socket.port(), true);
        daemon.add_bridges(bridges, legs, legs_each, codecs);
        const auto [calls, events] = count_calls(socket, daemon);
        add_row(state, "allocations per " + what + ", of so many", static_cast<double>(events));
        expect_none(state, "allocations per " + what, calls[heap_allocations]);
    }
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
    std::array<std::int64_t, quarters + 1> resident_kib;
    const int descriptors = open_descriptors(pid);
    for (std::size_t quarter = 0; quarter <= quarters; ++quarter) {
        for (std::int64_t done = 0; quarter > 0 && done < state.range(0) / quarters;
             done += at_once) {
            make_and_delete(daemon, at_once / 2);
        }
        const std::string after = " after " + std::to_string(quarter) + "/4 of the streams";
        resident_kib[quarter] = memory_kib(pid, "Rss:");
        add_row(state, "resident KiB" + after, static_cast<double>(resident_kib[quarter]));
        add_row(state, "descriptors" + after, open_descriptors(pid));
    }
    // The first quarter needs what at_once streams do, and no later one may need more.
    if (resident_kib.back() - resident_kib[1] > tolerated_growth_kib) {
        fail("memory grows with the number of streams made and deleted");
    }
    expect_none(state, "descriptors not given back",
                static_cast<std::uint64_t>(open_descriptors(pid) - descriptors));
}

} // namespace vocalink::bench
