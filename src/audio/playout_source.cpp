// SPDX-License-Identifier: GPL-3.0-or-later
// Where each packet of a speaker belongs, and what became of those that were expected.
#include "audio/playout_source.hpp"

#include "audio/frame.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vocalink {

namespace {

/** A late packet's timestamp is at most this far from where its number puts it. */
constexpr int max_timestamp_error = 8000;

/** That many old packets in order, and none new: the sender began again close to where it was. */
constexpr int restart_after_old = 5;

// Each packet that lies where its timestamp says earns trust, each that cannot lie there costs two.
constexpr int initial_trust = 4;
constexpr int least_trust = 4;
constexpr int most_trust = 8;

int signed_difference(std::uint32_t later, std::uint32_t earlier) {
    return static_cast<std::int32_t>(later - earlier);
}

} // namespace

packet_position playout_source::locate(const rtp_view& packet, int samples, double now_s) {
    const int steps = arrivals.steps_to(packet.sequence);
    if (is_other_source(packet, steps, samples)) {
        begin(packet, samples, now_s);
        return {.sequence = packet.sequence, .place = 0, .restarted = true, .newest = true};
    }
    const std::int64_t sequence = arrivals.newest() + steps;
    if (!arrivals.count_once(sequence)) {
        return {.sequence = sequence, .place = 0, .duplicate = true};
    }
    arrivals.measure_jitter(packet.timestamp, now_s);
    if (steps < 0) {
        return {.sequence = sequence,
                .place = newest.place + samples_before(packet, steps, samples)};
    }
    const std::int64_t advance = samples_after(packet, steps, now_s);
    newest = {packet.timestamp, newest.place + advance, samples, now_s};
    return {.sequence = sequence, .place = newest.place, .newest = true};
}

void playout_source::pass_over(std::uint32_t packet_ssrc, std::uint16_t packet_sequence) {
    if (arrivals.continues(packet_ssrc, packet_sequence)) {
        arrivals.count_once(arrivals.newest() + arrivals.steps_to(packet_sequence));
    }
}

bool playout_source::is_other_source(const rtp_view& packet, int steps, int samples) {
    if (!arrivals.continues(packet.ssrc, packet.sequence)) {
        return true;
    }
    if (steps > 0) {
        old_in_a_row = 0;
        return false;
    }
    const bool follows = packet.sequence == static_cast<std::uint16_t>(last_old_sequence + 1);
    old_in_a_row = follows ? old_in_a_row + 1 : 1;
    last_old_sequence = packet.sequence;
    const std::int64_t error =
        signed_difference(packet.timestamp, newest.timestamp) - std::int64_t{steps} * samples;
    return std::abs(error) > max_timestamp_error || old_in_a_row >= restart_after_old;
}

void playout_source::begin(const rtp_view& packet, int samples, double now_s) {
    arrivals.begin(packet.ssrc, packet.sequence, packet.timestamp, now_s);
    newest = {packet.timestamp, 0, samples, now_s};
    timestamp_trust = initial_trust;
    old_in_a_row = 0;
}

std::int64_t playout_source::samples_after(const rtp_view& packet, int steps, double now_s) {
    const std::int64_t counted = std::int64_t{steps} * newest.samples;
    const std::int64_t stamped = signed_difference(packet.timestamp, newest.timestamp);
    const std::int64_t pause = stamped - counted;
    if (pause == 0) {
        timestamp_trust = std::min(timestamp_trust + 1, most_trust);
        return counted;
    }
    // A real pause passes on the clock too. Half of it is enough: jitter may hide the rest.
    const double waited = (now_s - newest.arrival_s) * samples_per_second;
    const bool possible = stamped >= newest.samples &&
                          2 * (waited - static_cast<double>(counted)) >= static_cast<double>(pause);
    if (steps == 1 && !possible) {
        timestamp_trust = std::max(timestamp_trust - 2, 0);
    }
    return possible && timestamp_trust >= least_trust ? stamped : counted;
}

std::int64_t playout_source::samples_before(const rtp_view& packet, int steps, int samples) const {
    const std::int64_t counted = std::int64_t{steps} * samples;
    const std::int64_t stamped = signed_difference(packet.timestamp, newest.timestamp);
    const bool possible = stamped <= -samples && stamped >= 2 * counted;
    return possible && timestamp_trust >= least_trust ? stamped : counted;
}

void playout_source::place(std::int64_t sequence, std::int64_t new_place) {
    if (sequence == arrivals.newest()) {
        newest.place = new_place;
    }
}

void playout_source::shift(std::int64_t samples) {
    newest.place += samples;
}

void playout_source::forget() {
    arrivals.forget();
}

} // namespace vocalink
