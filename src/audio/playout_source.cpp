// SPDX-License-Identifier: GPL-3.0-or-later
// Where each packet of a speaker belongs, and what became of those that were expected.
#include "audio/playout_source.hpp"

#include "audio/frame.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vocalink {

namespace {

/** A sequence number further ahead belongs to another count (RFC 3550 A.1). */
constexpr int max_steps_ahead = 3000;

/** A late packet's timestamp is at most this far from where its number puts it. */
constexpr int max_timestamp_error = 8000;

/** That many old packets in order, and none new: the sender began again close to where it was. */
constexpr int restart_after_old = 5;

/** A step of more than 200 ms is a pause or another timeline, not jitter. */
constexpr double most_jitter = 1600;

// Each packet that lies where its timestamp says earns trust, each that cannot lie there costs two.
constexpr int initial_trust = 4;
constexpr int least_trust = 4;
constexpr int most_trust = 8;

int signed_difference(std::uint32_t later, std::uint32_t earlier) {
    return static_cast<std::int32_t>(later - earlier);
}

} // namespace

packet_position playout_source::locate(const voice_packet& packet, int samples, double now_s) {
    const int steps =
        static_cast<std::int16_t>(packet.sequence - static_cast<std::uint16_t>(newest.sequence));
    if (is_other_source(packet, steps, samples)) {
        begin(packet, samples, now_s);
        return {.sequence = newest.sequence, .place = 0, .restarted = true, .newest = true};
    }
    const std::int64_t sequence = newest.sequence + steps;
    if (!count_once(sequence)) {
        return {.sequence = sequence, .place = 0, .duplicate = true};
    }
    measure_jitter(packet, now_s);
    if (steps < 0) {
        return {.sequence = sequence,
                .place = newest.place + samples_before(packet, steps, samples)};
    }
    const std::int64_t advance = samples_after(packet, steps, now_s);
    newest = {sequence, packet.timestamp, newest.place + advance, samples, now_s};
    return {.sequence = sequence, .place = newest.place, .newest = true};
}

void playout_source::pass_over(std::uint32_t packet_ssrc, std::uint16_t packet_sequence) {
    const int steps =
        static_cast<std::int16_t>(packet_sequence - static_cast<std::uint16_t>(newest.sequence));
    if (!known || packet_ssrc != ssrc || steps > max_steps_ahead || steps < -furthest_back) {
        return;
    }
    const std::int64_t sequence = newest.sequence + steps;
    if (count_once(sequence)) {
        newest.sequence = std::max(newest.sequence, sequence);
    }
}

bool playout_source::is_other_source(const voice_packet& packet, int steps, int samples) {
    if (!known || packet.ssrc != ssrc || steps > max_steps_ahead || steps < -furthest_back) {
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

void playout_source::begin(const voice_packet& packet, int samples, double now_s) {
    lost_of_earlier_sources = lost();
    known = true;
    ssrc = packet.ssrc;
    newest = {packet.sequence, packet.timestamp, 0, samples, now_s};
    first_sequence = packet.sequence;
    received = 1;
    came.reset();
    came.set(static_cast<std::size_t>(first_sequence) % remembered);
    timestamp_trust = initial_trust;
    old_in_a_row = 0;
    jitter_samples = 0;
    jitter_arrival_s = now_s;
    jitter_timestamp = packet.timestamp;
}

bool playout_source::count_once(std::int64_t sequence) {
    const auto slot = [](std::int64_t number) {
        return static_cast<std::size_t>(number) % remembered;
    };
    const auto oldest = sequence - static_cast<std::int64_t>(remembered) + 1;
    for (auto skipped = std::max(newest.sequence + 1, oldest); skipped <= sequence; ++skipped) {
        came.reset(slot(skipped));
    }
    if (came.test(slot(sequence))) {
        return false;
    }
    came.set(slot(sequence));
    first_sequence = std::min(first_sequence, sequence);
    ++received;
    return true;
}

void playout_source::measure_jitter(const voice_packet& packet, double now_s) {
    const double apart = (now_s - jitter_arrival_s) * samples_per_second;
    const double change = std::abs(apart - signed_difference(packet.timestamp, jitter_timestamp));
    jitter_arrival_s = now_s;
    jitter_timestamp = packet.timestamp;
    if (change < most_jitter) {
        jitter_samples += (change - jitter_samples) / 16;
    }
}

std::int64_t playout_source::samples_after(const voice_packet& packet, int steps, double now_s) {
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

std::int64_t playout_source::samples_before(const voice_packet& packet, int steps,
                                            int samples) const {
    const std::int64_t counted = std::int64_t{steps} * samples;
    const std::int64_t stamped = signed_difference(packet.timestamp, newest.timestamp);
    const bool possible = stamped <= -samples && stamped >= 2 * counted;
    return possible && timestamp_trust >= least_trust ? stamped : counted;
}

void playout_source::place(std::int64_t sequence, std::int64_t new_place) {
    if (sequence == newest.sequence) {
        newest.place = new_place;
    }
}

void playout_source::shift(std::int64_t samples) {
    newest.place += samples;
}

void playout_source::forget() {
    lost_of_earlier_sources = lost();
    known = false;
    received = 0;
    jitter_samples = 0;
}

std::uint64_t playout_source::lost() const {
    if (received == 0) {
        return lost_of_earlier_sources;
    }
    const auto expected = static_cast<std::uint64_t>(newest.sequence - first_sequence + 1);
    return lost_of_earlier_sources + expected - received;
}

double playout_source::jitter_ms() const {
    return jitter_samples * 1000 / samples_per_second;
}

} // namespace vocalink
