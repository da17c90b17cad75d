// SPDX-License-Identifier: GPL-3.0-or-later
// The pace of a round, and the three kinds of packets.
#include "load/traffic.hpp"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <random>
#include <utility>

#include <arpa/inet.h>
#include <unistd.h>

namespace vocalink::bench {

namespace {

constexpr std::int64_t patience_ns = 300'000'000;
constexpr double late_ns = 10'000'000;
constexpr std::size_t noise_bytes = 8192;
constexpr std::uint32_t frames_per_file = 50;

/** What a packet carries about itself: all of it where it is relayed, of a sound file its place. */
struct stamp {
    std::uint32_t leg_be; // first, big-endian: never looks like a marker that a server acts on
    std::uint32_t frame_be;
    std::uint64_t number;
    std::int64_t sent_ns;
};

std::int64_t now_ns() {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/** @param payload  of payload_bytes */
stamp stamp_of(std::span<const std::uint8_t> payload) {
    stamp found;
    std::memcpy(&found, payload.data(), sizeof found);
    return found;
}

} // namespace

double round_result::latency_us(double share) const {
    if (latencies.empty()) {
        return 0;
    }
    std::vector<std::uint32_t> sorted = latencies;
    const auto rank = static_cast<std::ptrdiff_t>(share * static_cast<double>(sorted.size() - 1));
    std::nth_element(sorted.begin(), sorted.begin() + rank, sorted.end());
    return 1e-3 * sorted[static_cast<std::size_t>(rank)];
}

traffic::traffic(load_socket& shared, const server& loaded, double leg_interval_s)
    : target(loaded), socket(shared),
      interval_ns(leg_interval_s * 1e9 / static_cast<double>(loaded.ports.size())),
      leg_of_port(0x10000, -1) {
    for (std::size_t leg = 0; leg < target.ports.size(); ++leg) {
        leg_of_port[target.ports[leg]] = static_cast<std::int32_t>(leg);
    }
}

round_result traffic::run(double seconds) {
    receive(); // the rest of another load
    result = {};
    listeners.assign(target.ports.size(), {});
    first_of_round = next_number;
    const double own_before = cpu_seconds(target.pid) + cpu_seconds(getpid());
    const double busy_before = machine_busy_seconds();
    result.cpu_s -= cpu_seconds(target.pid);
    result.loop_s -= loop_cpu_seconds(target.pid);
    start_ns = now_ns();
    const std::int64_t end_ns = start_ns + static_cast<std::int64_t>(seconds * 1e9);
    std::int64_t last_progress_ns = end_ns;
    for (std::uint64_t before = 0;
         now_ns() < end_ns || (awaits_all() && result.received < result.sent &&
                               now_ns() < last_progress_ns + patience_ns);
         before = result.received) {
        send_due(end_ns);
        receive();
        last_progress_ns = result.received != before ? now_ns() : last_progress_ns;
    }
    result.seconds = 1e-9 * static_cast<double>(now_ns() - start_ns);
    result.cpu_s += cpu_seconds(target.pid);
    result.loop_s += loop_cpu_seconds(target.pid);
    const double own = cpu_seconds(target.pid) + cpu_seconds(getpid()) - own_before;
    result.others = std::max(machine_busy_seconds() - busy_before - own, 0.0) / result.seconds;
    result.unheard = static_cast<std::uint64_t>(std::count_if(
        listeners.begin(), listeners.end(), [](const listener& each) { return !each.heard; }));
    result.lost = awaits_all() ? result.sent - result.received : result.lost;
    return std::move(result);
}

void traffic::send_due(std::int64_t end_ns) {
    const std::int64_t time_ns = now_ns();
    const auto elapsed_ns = static_cast<double>(std::min(time_ns, end_ns - 1) - start_ns);
    // Late packets are not skipped: their number is part of the load.
    while (interval_ns != 0 && static_cast<double>(result.sent) * interval_ns <= elapsed_ns &&
           !socket.full()) {
        const auto leg = static_cast<std::uint32_t>(next_number % target.ports.size());
        const auto sequence = static_cast<std::uint16_t>(next_number / target.ports.size());
        const std::span out(socket.add(target.ports[leg]));
        harness::write_rtp_header(out.first<harness::rtp_header_bytes>(), 0, sequence,
                                  sequence * std::uint32_t{payload_bytes}, leg);
        fill(out.subspan(harness::rtp_header_bytes), next_number, time_ns);
        const double due_ns = static_cast<double>(result.sent) * interval_ns;
        result.sent_late += elapsed_ns - due_ns > late_ns ? 1 : 0;
        ++next_number;
        ++result.sent;
    }
    socket.flush();
}

void traffic::receive() {
    socket.receive([this](std::span<const std::uint8_t> bytes, std::uint16_t from_port) {
        const std::int32_t leg = leg_of_port[from_port];
        if (leg < 0 || listeners.empty() || bytes.size() < harness::rtp_header_bytes) {
            return;
        }
        listener& at = listeners[static_cast<std::size_t>(leg)];
        const harness::rtp_view arrived = harness::parse_rtp(bytes);
        at.step = static_cast<std::uint16_t>(at.packets == 0 ? 1 : arrived.sequence - at.sequence);
        at.sequence = arrived.sequence;
        result.lost += at.step - 1U;
        ++(take(static_cast<std::size_t>(leg), at, arrived.payload) ? result.received
                                                                    : result.wrong);
        ++at.packets;
    });
}

void relay_traffic::fill(std::span<std::uint8_t> payload, std::uint64_t number, std::int64_t now) {
    const auto leg = static_cast<std::uint32_t>(number % target.ports.size());
    const stamp mine{htonl(leg), 0, number, now};
    std::memcpy(payload.data(), &mine, sizeof mine);
}

bool relay_traffic::take(std::size_t leg, listener& at, std::span<const std::uint8_t> payload) {
    if (payload.size() != payload_bytes) {
        return false;
    }
    const stamp mine = stamp_of(payload);
    at.heard = true;
    result.latencies.push_back(static_cast<std::uint32_t>(now_ns() - mine.sent_ns));
    return mine.number >= first_of_round && ntohl(mine.leg_be) == (leg ^ 1U);
}

conference_traffic::conference_traffic(load_socket& shared, const server& loaded, double interval_s,
                                       bool to_end)
    : traffic(shared, loaded, interval_s), heard_to_end(to_end),
      noise(noise_bytes + payload_bytes) {
    // Both signs of the two lowest µ-law segments: up to about 400 of 32767.
    std::mt19937 random(1);
    std::uniform_int_distribution<int> code(0, 31);
    for (std::uint8_t& byte : noise) {
        byte = static_cast<std::uint8_t>(((random() & 1U) != 0 ? 0x7f : 0xff) - code(random));
    }
}

void conference_traffic::fill(std::span<std::uint8_t> payload, std::uint64_t number, std::int64_t) {
    // A different stretch for each member and packet, so that no two cancel each other out.
    std::copy_n(&noise[number * 61 % noise_bytes], payload.size(), payload.begin());
}

bool conference_traffic::take(std::size_t, listener& at, std::span<const std::uint8_t> payload) {
    const auto silent = std::count_if(payload.begin(), payload.end(),
                                      [](std::uint8_t byte) { return (byte | 0x80) == 0xff; });
    at.heard = (at.heard && !heard_to_end) || static_cast<std::size_t>(silent) * 2 < payload.size();
    return true;
}

bool sound_traffic::take(std::size_t leg, listener& at, std::span<const std::uint8_t> payload) {
    if (payload.size() != payload_bytes) {
        return false;
    }
    const stamp mine = stamp_of(payload);
    const std::uint32_t due = (at.frame + at.step) % frames_per_file;
    at.frame = ntohl(mine.frame_be);
    const bool first = !std::exchange(at.heard, true);
    return ntohl(mine.leg_be) == leg && (first || at.frame == due);
}

std::vector<std::string> write_sound_files(const std::string& directory, std::size_t files) {
    std::vector<std::string> paths;
    for (std::uint32_t i = 0; i < files; ++i) {
        paths.push_back(directory + "/" + std::to_string(i) + ".ulaw");
        std::ofstream file(paths.back(), std::ios::binary);
        for (std::uint32_t number = 0; number < frames_per_file; ++number) {
            std::array<char, payload_bytes> frame{};
            const stamp mine{htonl(i), htonl(number), 0, 0};
            std::memcpy(frame.data(), &mine, sizeof mine);
            file.write(frame.data(), frame.size());
        }
    }
    return paths;
}

} // namespace vocalink::bench
