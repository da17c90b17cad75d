// SPDX-License-Identifier: GPL-3.0-or-later
// Which packets of a far end came, which are missing, and how evenly they come.
#include "rtp/reception.hpp"

#include <algorithm>
#include <cmath>

namespace vocalink {

namespace {

/** RTP clock of every codec here, in Hz; G.722 too (RFC 3551 4.5.2). */
constexpr double clock_rate = 8000;

/** A step of more than 200 ms is a pause or another timeline, not jitter. */
constexpr double most_jitter = 1600;

constexpr int window = 64; // packets remembered, to tell doubled ones from late ones
static_assert(window > reception::furthest_behind);

} // namespace

bool reception::continues(std::uint32_t packet_ssrc, std::uint16_t packet_sequence) const {
    const int steps = steps_to(packet_sequence);
    return known && packet_ssrc == ssrc && steps <= furthest_ahead && steps >= -furthest_behind;
}

int reception::steps_to(std::uint16_t packet_sequence) const {
    return static_cast<std::int16_t>(packet_sequence - static_cast<std::uint16_t>(newest_sequence));
}

void reception::count(const rtp_view& packet, bool audio, double now_s) {
    if (!continues(packet.ssrc, packet.sequence)) {
        begin(packet.ssrc, packet.sequence, packet.timestamp, now_s);
    } else if (!count_once(newest_sequence + steps_to(packet.sequence))) {
        doubled += 1;
    } else if (audio) {
        measure_jitter(packet.timestamp, now_s);
    }
}

void reception::begin(std::uint32_t first_ssrc, std::uint16_t first, std::uint32_t timestamp,
                      double now_s) {
    forget();
    known = true;
    ssrc = first_ssrc;
    newest_sequence = first;
    first_sequence = first;
    came = 1;
    received = 1;
    jitter_arrival_s = now_s;
    jitter_timestamp = timestamp;
}

bool reception::count_once(std::int64_t sequence) {
    const std::int64_t ahead = sequence - newest_sequence;
    if (ahead > 0) {
        came = ahead < window ? came << ahead : 0;
        newest_sequence = sequence;
    }
    const std::int64_t behind = newest_sequence - sequence;
    const std::uint64_t bit = behind < window ? std::uint64_t{1} << behind : 0;
    if ((came & bit) != 0) {
        return false;
    }
    came |= bit;
    first_sequence = std::min(first_sequence, sequence);
    received += 1;
    return true;
}

void reception::measure_jitter(std::uint32_t timestamp, double now_s) {
    const double apart = (now_s - jitter_arrival_s) * clock_rate;
    const auto stamped = static_cast<std::int32_t>(timestamp - jitter_timestamp);
    const double change = std::abs(apart - stamped);
    jitter_arrival_s = now_s;
    jitter_timestamp = timestamp;
    if (change < most_jitter) {
        jitter_samples += (change - jitter_samples) / 16;
    }
}

void reception::forget() {
    lost_of_earlier_sources = lost();
    known = false;
    received = 0;
    jitter_samples = 0;
}

std::uint64_t reception::lost() const {
    if (received == 0) {
        return lost_of_earlier_sources;
    }
    const auto expected = static_cast<std::uint64_t>(newest_sequence - first_sequence + 1);
    return lost_of_earlier_sources + expected - received;
}

double reception::jitter_ms() const {
    return jitter_samples * 1000 / clock_rate;
}

} // namespace vocalink
