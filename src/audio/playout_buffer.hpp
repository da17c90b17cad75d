// SPDX-License-Identifier: GPL-3.0-or-later
// What one conference member says, from packets as they come to 20 ms of samples every tick.
#pragma once

#include "audio/concealer.hpp"
#include "audio/frame.hpp"
#include "audio/playout_delay.hpp"
#include "audio/playout_line.hpp"
#include "audio/playout_queue.hpp"
#include "audio/playout_source.hpp"
#include "audio/voice_decoder.hpp"
#include "rtp/line_quality.hpp"

#include <cstdint>
#include <span>

namespace vocalink {

/** Puts the packets of one speaker in order, and gives 20 ms of samples each tick.
 *
 *  Packets wait encoded. When the turn of one comes, it is decoded onto a line of samples, where
 *  gaps are filled and the delay is corrected. Every sample has a place, counted from the first. A
 *  tick plays the 160 samples after those of the tick before, received or concealed. So the delay
 *  changes in three ways only:
 *  - the first packet chooses it;
 *  - a packet that comes just after its place was concealed is played all the same, and everything
 *    after it is later by that;
 *  - splices correct the rest.
 *
 *  Time is passed in, in seconds of one monotonic clock: to put() the time of arrival, to play()
 *  the time of the tick. Several ticks in one moment catch up a late one. Belongs to one member;
 *  loop thread only; after construction only the first packet of a codec allocates. */
class playout_buffer {
  public:
    /** @param ilbc_type  the payload type of iLBC, -1 where the stream has none
     *  @param ilbc_bytes  bytes of one iLBC frame, 38 (20 ms) or 50 (30 ms) */
    playout_buffer(int ilbc_type, int ilbc_bytes);

    /** Whether packets of that type are decoded. */
    [[nodiscard]] bool accepts(int payload_type) const;

    /** Takes a packet, whose timestamp counts at 8 kHz, for G.722 too (RFC 3551 4.5.2).
     *  @return false for one whose type or length does not fit, which is ignored */
    bool put(const rtp_view& packet, double now_s);

    /** Notes a packet of the speaker without audio, so that its number does not count as lost. */
    void pass_over(std::uint32_t ssrc, std::uint16_t sequence);

    /** Whether the next 20 ms have come. */
    [[nodiscard]] bool has_next_frame() const;

    /** Plays the next 20 ms. @return false for silence: nothing was said, the samples are all zeros */
    [[nodiscard]] bool play(double now_s);

    /** What was played last. Valid until anything but a query is called. */
    [[nodiscard]] std::span<const std::int16_t, voice_frame_samples> played() const;

    /** Forgets all audio and the source. The counters stay. */
    void clear();

    /** What was counted since the buffer was made, and what is measured now. */
    [[nodiscard]] line_quality counters() const;

  private:
    static constexpr int most_waiting = 200 * samples_per_ms; // older audio is dropped
    static constexpr std::int64_t before_any_sequence = -playout_source::furthest_back - 1;

    [[nodiscard]] std::int64_t play_position() const;
    [[nodiscard]] std::int64_t last_packet_end() const;
    [[nodiscard]] std::int64_t waiting_end() const;
    [[nodiscard]] bool in_pause() const;
    [[nodiscard]] bool is_late(const packet_position& position, int samples) const;
    [[nodiscard]] std::int64_t choose_place(const packet_position& position, int samples,
                                            double now_s);
    void begin_source();
    void take_back_to(std::int64_t place);
    void make_room(std::int64_t end, std::size_t bytes);

    void drop_oldest(std::int64_t samples);
    void decode_front();
    void pass(const queued_packet& packet);
    [[nodiscard]] bool is_after_pause(const queued_packet& packet) const;
    void decode_ready(int samples);
    void fill(int samples);
    void make_up(int samples);
    void correct_delay();
    void shorten();
    void lengthen();

    // What a clean line needs lies together.
    std::int64_t line_end = 0;                           // place after the last sample of the line
    std::int64_t decoded_sequence = before_any_sequence; // of the last packet whose turn came
    std::uint32_t decoded_timestamp_end = 0;             // timestamp after it
    std::int64_t dropped_samples = 0;                    // to make room, since the last tick
    std::uint64_t concealed_samples = 0;                 // in place of what was missing
    int made_up_samples = 0;   // at the end of the line, since the last packet
    int undecided_samples = 0; // of them: a loss or a pause, as the next packet tells
    int ticks_since_splice = 0;
    playout_line line;
    playout_queue queue;
    playout_source source;
    playout_delay delay;
    concealer concealment;
    voice_decoder decoder;
    line_quality counted; // of it the numbers of packets late and doubled
};

} // namespace vocalink
