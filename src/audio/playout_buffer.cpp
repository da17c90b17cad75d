// SPDX-License-Identifier: GPL-3.0-or-later
// Playout buffer: packets come in, each to its place.
#include "audio/playout_buffer.hpp"

#include <algorithm>

namespace vocalink {

namespace {

/** After this long without a packet the speaker has paused. The next packet is a beginning and may
 *  choose its delay; concealment has faded to silence by then. */
constexpr int pause_samples = 100 * samples_per_ms;

} // namespace

playout_buffer::playout_buffer(int ilbc_type, int ilbc_bytes) : decoder(ilbc_type, ilbc_bytes) {}

bool playout_buffer::accepts(int payload_type) const {
    return decoder.accepts(payload_type);
}

bool playout_buffer::put(const rtp_view& packet, double now_s) {
    const int samples = decoder.samples_in(packet.payload_type, packet.payload.size());
    if (samples == 0) {
        return false;
    }
    const packet_position position = source.locate(packet, samples, now_s);
    if (position.duplicate) {
        ++counted.duplicate;
        return true;
    }
    if (is_late(position, samples)) {
        ++counted.late;
        delay.arrived(position.place - play_position(), now_s);
        return true;
    }
    if (position.restarted) {
        begin_source();
    }
    const std::int64_t place = choose_place(position, samples, now_s);
    source.place(position.sequence, place);
    delay.arrived(place - play_position(), now_s);
    take_back_to(place);
    make_room(std::max(place + samples, waiting_end()), packet.payload.size());
    if (place < line_end) { // the room was made of newer audio
        ++counted.late;
        return true;
    }
    queue.insert({.sequence = position.sequence,
                  .place = place,
                  .timestamp = packet.timestamp,
                  .samples = samples,
                  .payload_type = packet.payload_type},
                 packet.payload);
    return true;
}

void playout_buffer::pass_over(std::uint32_t ssrc, std::uint16_t sequence) {
    source.pass_over(ssrc, sequence);
}

std::int64_t playout_buffer::play_position() const {
    return line_end - line.unplayed();
}

std::int64_t playout_buffer::last_packet_end() const {
    return line_end - made_up_samples;
}

std::int64_t playout_buffer::waiting_end() const {
    // Packets that overlap have not been moved apart yet: the last may lie before the line's end.
    return queue.empty() ? line_end : std::max(line_end, queue.back().place + queue.back().samples);
}

bool playout_buffer::in_pause() const {
    return queue.empty() && made_up_samples >= pause_samples;
}

bool playout_buffer::is_late(const packet_position& position, int samples) const {
    if (position.restarted) {
        return false;
    }
    return position.sequence <= decoded_sequence ||
           (!position.newest && position.place + samples / 2 < last_packet_end());
}

void playout_buffer::begin_source() {
    queue.clear();
    decoder.restart();
    delay.forget();
    // Enough of the old voice stays for its end to be soft.
    const int stale = std::max(line.unplayed() - playout_line::joint_samples, 0);
    line.cut_end(stale);
    line_end -= stale;
    made_up_samples = std::max(made_up_samples - stale, 0);
    undecided_samples = 0;
    decoded_sequence = before_any_sequence;
}

std::int64_t playout_buffer::choose_place(const packet_position& position, int samples,
                                          double now_s) {
    const std::int64_t now = play_position();
    const double jitter_ms = source.jitter_ms();
    if (position.restarted || in_pause()) {
        std::int64_t place = position.place;
        if (position.restarted || !delay.is_usual(place - now, now_s, jitter_ms)) {
            delay.forget();
            place = now + delay.first_lead(now_s, jitter_ms);
        }
        return std::max(std::min(place, now + most_waiting - samples), line_end);
    }
    const std::int64_t earliest = queue.end_before(position.sequence, last_packet_end());
    return std::max(std::min(position.place, now + most_waiting - samples), earliest);
}

void playout_buffer::take_back_to(std::int64_t place) {
    if (place >= line_end) {
        return;
    }
    const auto made_up = static_cast<int>(line_end - place);
    const int unplayed = std::min(made_up, line.unplayed());
    line.cut_end(unplayed);
    line_end = place;
    made_up_samples -= made_up;
    undecided_samples = std::max(undecided_samples - unplayed, 0);
    delay.moved(made_up - unplayed);
}

void playout_buffer::make_room(std::int64_t end, std::size_t bytes) {
    const std::int64_t excess = end - play_position() - most_waiting;
    if (excess > 0) {
        drop_oldest(excess);
        dropped_samples += excess;
    }
    while (!queue.fits(bytes)) {
        drop_oldest(queue.front().place + queue.front().samples - play_position());
    }
}

void playout_buffer::clear() {
    queue.clear();
    source.forget();
    decoder.restart();
    delay = {};
    line = {};
    concealment = {};
    line_end = 0;
    decoded_sequence = before_any_sequence;
    dropped_samples = 0;
    made_up_samples = 0;
    undecided_samples = 0;
}

line_quality playout_buffer::counters() const {
    line_quality counters = counted;
    counters.lost = source.lost();
    counters.concealed_ms = concealed_samples / samples_per_ms;
    counters.jitter_ms = source.jitter_ms();
    if (!in_pause()) {
        counters.delay_ms = static_cast<int>(waiting_end() - play_position()) / samples_per_ms;
    }
    return counters;
}

} // namespace vocalink
