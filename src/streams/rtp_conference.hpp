// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint in a conference.
#pragma once

#include "audio/playout_buffer.hpp"
#include "audio/voice_encoder.hpp"
#include "rtp/key_receiver.hpp"
#include "rtp/key_sender.hpp"
#include "rtp/packet_reader.hpp"
#include "rtp/rtp_view.hpp"
#include "streams/conference_leg.hpp"
#include "streams/rtp_stream.hpp"

#include <cstdint>

namespace vocalink {

/** Reads the socket once a tick, plays what came through a playout buffer, and sends what the member
 *  hears in its own codec. A telephone's packets wait for the tick anyway; reading there saves a
 *  wake-up per packet, and a flood at one port waits in that port's socket. The kernel's time stamps
 *  tell when each packet came. */
class rtp_stream::leg : public conference_leg {
  public:
    explicit leg(rtp_stream& stream);
    ~leg() override;

    /** The stream ends before the conference lets this go, which must not use it any more. */
    void note_end_of_stream() { stream_ended = true; }
    /** The line as measured in this conference and those before. */
    [[nodiscard]] line_quality line() const;

    [[nodiscard]] std::optional<tick_view> speak(double now_s) override;
    [[nodiscard]] bool listens() const override { return true; }
    void hear(const tick_frame& frame, double due_s) override;
    void take_key(const key_press& key) override;

  private:
    // Receiving: rtp_conference_receive.cpp
    void discard_waiting();
    enum class asking { for_a_tick, for_all };
    int receive_waiting(double now_s, asking how);
    [[nodiscard]] bool is_enough(const packet_reader::packet& packet) const;
    void take_packet(const packet_reader::packet& packet, double now_s);
    void take_event(const rtp_view& view, double arrival_s);
    void report(const key_receiver::changes& changes);

    // Sending: rtp_conference_send.cpp
    using packet_bytes =
        std::array<std::uint8_t, rtp_header_bytes + voice_encoder::max_payload_bytes>;

    void send_audio(packet_bytes& packet, const tick_frame& frame);
    void send(packet_bytes& packet, std::size_t payload_bytes, int payload_type, bool marker,
              std::uint32_t timestamp, bool audio);

    // In the order of use.
    rtp_stream& owner;
    std::uint32_t clock;       // timestamp of this tick
    int waiting_samples = 0;   // taken by the encoder, not yet in a packet
    bool first_packet = true;  // since the join
    bool stream_ended = false; // the owner has
    voice_encoder encoder;
    playout_buffer playout;
    key_receiver keys_in;
    key_sender keys_out;
    const line_quality earlier; // what came before this join
};

} // namespace vocalink
