// SPDX-License-Identifier: GPL-3.0-or-later
// Playout buffer: samples go out, and the delay is kept right.
#include "audio/playout_buffer.hpp"

#include <algorithm>

namespace vocalink {

namespace {

/** Made-up samples are counted up to here; a pause is long before that. */
constexpr int most_made_up = 60'000 * samples_per_ms;

// The delay is corrected where the wave resembles itself or is quiet. A correction that has found no
// such place for this many ticks is made anyway.
constexpr float enough_likeness = 0.7F;
constexpr int patience_ticks = 25;
constexpr int patience_ticks_lengthen = 3;

// Ticks between corrections: fewer where the delay is far too long.
constexpr int ticks_between = 5;
constexpr int ticks_between_hurried = 3;
constexpr int ticks_between_lengthen = 2;
constexpr double hurried_excess_ms = 40;

} // namespace

bool playout_buffer::has_next_frame() const {
    const int missing = voice_frame_samples - line.unplayed();
    return missing <= 0 ||
           (!queue.empty() && queue.front().place <= line_end && queue.front().samples >= missing);
}

bool playout_buffer::play(double now_s) {
    const std::int64_t skipped = delay.tick(now_s);
    if (skipped > dropped_samples) {
        drop_oldest(skipped - dropped_samples);
    }
    dropped_samples = 0;
    fill(voice_frame_samples);
    correct_delay();
    line.take();
    return std::ranges::any_of(played(), [](std::int16_t sample) { return sample != 0; });
}

std::span<const std::int16_t, voice_frame_samples> playout_buffer::played() const {
    return line.taken();
}

void playout_buffer::fill(int samples) {
    while (line.unplayed() < samples) {
        const int missing = samples - line.unplayed();
        if (queue.empty()) {
            make_up(missing);
            continue;
        }
        const std::int64_t gap = queue.front().place - line_end;
        if (gap <= 0) {
            decode_front();
            continue;
        }
        make_up(static_cast<int>(std::min<std::int64_t>(gap, missing)));
        take_back_to(queue.front().place); // codecs make up whole frames
    }
}

void playout_buffer::decode_ready(int samples) {
    while (line.unplayed() < samples && !queue.empty() && queue.front().place <= line_end) {
        decode_front();
    }
}

void playout_buffer::decode_front() {
    const queued_packet packet = queue.front();
    if (packet.place < line_end) {
        // Packets that overlap, as no honest sender's do, are played one after the other.
        queue.shift(line_end - packet.place);
        source.shift(line_end - packet.place);
    }
    const std::span<const std::uint8_t> payload = queue.front_payload();
    const std::span<std::int16_t> samples = line.room(packet.samples);
    const int count = decoder.decode(packet.payload_type, payload, samples);
    concealment.heard(packet.payload_type, payload, samples.first(static_cast<std::size_t>(count)));
    line.grow(count);
    line_end += count;
    pass(packet);
    made_up_samples = 0;
    queue.pop_front();
}

void playout_buffer::pass(const queued_packet& packet) {
    if (!is_after_pause(packet)) {
        concealed_samples += static_cast<std::uint64_t>(undecided_samples);
    }
    undecided_samples = 0;
    decoded_sequence = packet.sequence;
    decoded_timestamp_end = packet.timestamp + static_cast<std::uint32_t>(packet.samples);
}

bool playout_buffer::is_after_pause(const queued_packet& packet) const {
    const auto gap = static_cast<std::int32_t>(packet.timestamp - decoded_timestamp_end);
    return packet.sequence == decoded_sequence + 1 && gap > 0;
}

void playout_buffer::make_up(int samples) {
    const int before = line.unplayed();
    undecided_samples += concealment.make_up(decoder, line, samples);
    const int count = line.unplayed() - before;
    line_end += count;
    made_up_samples = std::min(made_up_samples + count, most_made_up);
}

void playout_buffer::drop_oldest(std::int64_t samples) {
    delay.moved(-static_cast<int>(samples));
    if (line.unplayed() == 0 && !line.has_loose_end()) {
        const std::int64_t end = line_end;
        make_up(playout_line::joint_samples);
        take_back_to(end); // what is cut off here is what the rest fades in over
    }
    const auto in_line = static_cast<int>(std::min<std::int64_t>(samples, line.unplayed()));
    line.cut_begin(in_line);
    samples -= in_line;
    while (samples > 0 && !queue.empty()) {
        const queued_packet& packet = queue.front();
        const std::int64_t gap = std::min(packet.place - line_end, samples);
        if (gap > 0) {
            line_end += gap;
            samples -= gap;
        } else if (samples >= packet.samples) {
            line_end += packet.samples;
            samples -= packet.samples;
            pass(packet);
            queue.pop_front();
        } else {
            decode_front();
            line.cut_begin(static_cast<int>(samples));
            samples = 0;
        }
        made_up_samples = 0;
    }
    line_end += samples;
}

void playout_buffer::correct_delay() {
    ++ticks_since_splice;
    if (in_pause()) {
        return;
    }
    switch (delay.wanted()) {
    case playout_delay::wish::keep:
        ticks_since_splice = ticks_between; // patience begins with the wish
        break;
    case playout_delay::wish::shorten:
        shorten();
        break;
    case playout_delay::wish::lengthen:
        lengthen();
        break;
    }
}

void playout_buffer::shorten() {
    const bool hurried = delay.excess_ms() > hurried_excess_ms;
    if (ticks_since_splice < (hurried ? ticks_between_hurried : ticks_between)) {
        return;
    }
    constexpr int needed = voice_frame_samples + playout_line::max_splice;
    decode_ready(needed);
    if (line.unplayed() < needed) {
        return;
    }
    const splice_match match = line.match_after();
    if (hurried || match.quiet || match.likeness >= enough_likeness ||
        ticks_since_splice >= patience_ticks) {
        line.leave_out(match.lag);
        delay.moved(-match.lag);
        ticks_since_splice = 0;
    }
}

void playout_buffer::lengthen() {
    const bool has_room =
        waiting_end() - play_position() + playout_line::max_splice <= most_waiting;
    if (ticks_since_splice < ticks_between_lengthen || !has_room) {
        return;
    }
    const splice_match match = line.match_before();
    if (match.quiet || match.likeness >= enough_likeness ||
        ticks_since_splice >= patience_ticks_lengthen) {
        line.repeat(match.lag);
        delay.moved(match.lag);
        ticks_since_splice = 0;
    }
}

} // namespace vocalink
