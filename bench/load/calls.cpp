// SPDX-License-Identifier: GPL-3.0-or-later
// Calls, conferences and recorded calls: the daemon beside the least that could do the same.
#include "load/bare_loops.hpp"
#include "load/benchmarks.hpp"
#include "load/loaded_daemon.hpp"

#include <filesystem>
#include <string>
#include <vector>

namespace vocalink::bench {

namespace {

constexpr std::size_t pcap_header_bytes = 24;
// Record header, link, IPv4 and UDP header, and the packet.
constexpr std::size_t pcap_record_bytes = 16 + 4 + 20 + 8 + packet_bytes;

/** Nothing was lost and nothing was still waiting when the next packet of its leg came. */
bool held(const round_result& round) {
    return round.lost == 0 && round.latency_us(0.99) < 1e6 * relay_traffic::interval_s;
}

void add_latency_rows(benchmark::State& state, const round_result& bare,
                      const round_result& daemon) {
    add_row(state, "one-way latency, median, us", bare.latency_us(0.5), daemon.latency_us(0.5));
    add_row(state, "one-way latency, 99th percentile, us", bare.latency_us(0.99),
            daemon.latency_us(0.99));
}

/** Runs a load on bridges of so many legs each in the daemon, and on a bare loop.
 *  @param what  the row of the processor time, with what is wanted of it
 *  @return of the bare loop, of the daemon */
template <class Traffic>
std::pair<round_result, round_result>
compare(benchmark::State& state, const std::string& bridges, loop_body* body, std::size_t legs,
        std::size_t legs_each, const std::string& what, double wanted) {
    load_socket socket;
    const bare_loop bare(body, legs, legs_each, socket.port());
    loaded_daemon daemon(socket.port());
    daemon.add_bridges(bridges, legs, legs_each);
    auto rounds = run_by_turns<Traffic>(socket, bare.process(), daemon.process());
    const auto& [of_bare, of_daemon] = rounds;
    add_row(state, "CPU us per " + what, of_bare.cpu_us(), of_daemon.cpu_us(), wanted);
    double read = 0;
    for (const ended_leg& leg : daemon.delete_legs()) {
        read += static_cast<double>(leg.incoming);
    }
    const double sent = static_cast<double>(of_daemon.sent) * (1 + warm_up_s / round_s);
    add_row(state, "packets read of those sent, %", 100 * read / sent);
    expect_none(state, "listeners who heard nothing", of_bare.unheard + of_daemon.unheard);
    add_losses(state, of_bare, of_daemon);
    return rounds;
}

} // namespace

void measure_relay(benchmark::State& state) {
    const std::size_t legs = 2 * size_of(state);
    const auto [bare, daemon] = compare<relay_traffic>(state, "vocalink", relay_for_ever, legs, 2,
                                                       "packet", legs <= 200 ? 0.80 : 0.90);
    add_row(state, "share of one core, %", 100 * bare.cpu_s / bare.seconds,
            100 * daemon.cpu_s / daemon.seconds);
    add_row(state, "packets that the generator sent late, %", bare.late_share(),
            daemon.late_share());
    add_row(state, "held on one core", held(bare), held(daemon));
    add_latency_rows(state, bare, daemon);
}

void measure_mix(benchmark::State& state) {
    compare<conference_traffic>(state, "vocalink", mix_for_ever, size_of(state),
                                static_cast<std::size_t>(state.range(1)), "member and cycle", 1.10);
}

void measure_conference(benchmark::State& state) {
    compare<telephone_traffic>(state, "conference", confer_for_ever, size_of(state),
                               static_cast<std::size_t>(state.range(1)), "member and tick", 1.25);
}

/** The rival is the daemon too, with the same calls that nobody records. */
void measure_recording(benchmark::State& state) {
    const std::size_t legs = 2 * size_of(state);
    load_socket socket;
    loaded_daemon plain(socket.port()), recording(socket.port());
    plain.add_bridges("vocalink", legs, 2);
    recording.add_bridges("vocalink", legs, 2);
    recording.start_recordings();
    constexpr double every_block_begun_s = 3; // the writer then has as much to do as comes
    const auto [of_plain, of_recorded] = run_by_turns<relay_traffic>(
        socket, plain.process(), recording.process(), every_block_begun_s);
    add_row(state, "event loop thread, CPU us per packet", of_plain.loop_us(),
            of_recorded.loop_us());
    add_row(state, "all threads, CPU us per packet", of_plain.cpu_us(), of_recorded.cpu_us(), 1.25);
    add_latency_rows(state, of_plain, of_recorded);
    std::uint64_t passed = 0, recorded = 0, differing = 0;
    recording.finish_recordings();
    for (const ended_leg& leg : recording.delete_legs()) {
        const std::uintmax_t bytes = std::filesystem::file_size(leg.recording) - pcap_header_bytes;
        const std::uint64_t packets = leg.incoming + leg.outgoing;
        passed += packets;
        recorded += bytes / pcap_record_bytes;
        differing += bytes == packets * pcap_record_bytes ? 0 : 1;
    }
    add_row(state, "packets recorded", static_cast<double>(recorded));
    expect_none(state, "packets missing in the files", passed - recorded);
    expect_none(state, "files that differ from their stream's counts", differing);
    add_losses(state, of_plain, of_recorded);
}

} // namespace vocalink::bench
