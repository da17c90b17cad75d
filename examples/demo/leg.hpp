// SPDX-License-Identifier: GPL-3.0-or-later
// One telephone in a call: it speaks a recorded sentence and keeps what it hears.
#pragma once

#include "audio/voice_decoder.hpp"
#include "audio/voice_encoder.hpp"
#include "harness/rtp_peer.hpp"
#include "sound.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace vocalink::demo {

/** Numbers its packets itself; whoever holds it decides when they are sent. */
class leg {
  public:
    /** @param encoding_word  as the daemon's commands have it, of 20 ms frames
     *  @param sentence       what it will say, silence before it included */
    leg(std::string who, std::string encoding_word, sound sentence);

    /** Sends the next 20 ms, of the voice or of silence. To be called every 20 ms. */
    void speak();

    /** Sends one telephone-event packet. All packets of one key press carry one timestamp: that of
     *  the frame which would be due next.
     *  @param duration  so far, in timestamp units; 160 are 20 ms
     *  @param first     sets the marker, @param last the end bit */
    void send_event(int event, std::size_t duration, bool first, bool last);

    /** Takes in all packets that are waiting. */
    void receive_waiting();

    /** 20 ms frames that the whole sentence takes. */
    [[nodiscard]] std::size_t voice_frames() const { return voice.size() / frame_samples; }

    const std::string name;
    const std::string encoding;
    harness::rtp_peer telephone;   ///< its socket
    std::uint16_t daemon_port = 0; ///< where its packets go to, on 127.0.0.1

    sound said;  ///< as its codec left it: the voice that the others can hear at best
    sound heard; ///< silence where packets are missing
    std::size_t voice_sent = 0; ///< packets, as below
    std::size_t voice_received = 0;
    std::size_t others_received = 0;
    std::size_t lost = 0; ///< gaps in the sequence numbers received

  private:
    void send(int payload_type, bool marker, std::span<const std::uint8_t> payload);
    void decode(voice_decoder& decoder, std::span<const std::uint8_t> payload, sound& to) const;

    const audio_codec& settings;
    sound voice;                                ///< whole frames
    voice_encoder mouth;                        ///< encodes what it says
    voice_decoder monitor;                      ///< decodes what it said
    voice_decoder ear;                          ///< decodes what it hears
    const std::uint32_t ssrc;                   ///< random, as every source's
    std::uint16_t sequence = 0;                 ///< of the last packet sent
    std::uint32_t timestamp = 0;                ///< of the next voice packet
    std::optional<std::uint16_t> last_sequence; ///< highest received
};

} // namespace vocalink::demo
