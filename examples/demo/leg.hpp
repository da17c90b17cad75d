// SPDX-License-Identifier: GPL-3.0-or-later
// One telephone in a call: it speaks a recorded sentence and keeps what it hears.
#pragma once

#include "codec.hpp"
#include "harness/rtp_peer.hpp"
#include "sound.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace vocalink::demo {

/** Where a packet's number, time and marker come from is the leg's own business; everything else
 *  about its sending is decided by whoever holds it. Sends to one port of the daemon. */
class leg {
  public:
    /** @param encoding  see make_codec()
     *  @param sentence  what it will say, silence before it included */
    leg(std::string name, std::string encoding, sound sentence);

    /** From now on packets go to this port of 127.0.0.1. */
    void call(std::uint16_t daemon_port) { remote_port = daemon_port; }

    /** Sends the next 20 ms, of the voice or of silence. To be called every 20 ms. */
    void speak();

    /** Sends one telephone-event packet. All packets of one key press carry one timestamp: that of
     *  the frame which would be due next.
     *  @param duration  so far, in timestamp units; 160 are 20 ms
     *  @param first     sets the marker, @param last the end bit */
    void send_event(int event, std::uint16_t duration, bool first, bool last);

    /** Takes in all packets that are waiting. */
    void receive_waiting();

    /** Throws away what was heard so far; the counters stay. */
    void forget_heard() { heard_samples.clear(); }

    [[nodiscard]] const std::string& name() const { return leg_name; }
    [[nodiscard]] const std::string& encoding() const { return leg_encoding; }
    [[nodiscard]] std::uint16_t port() const { return telephone.port(); }
    [[nodiscard]] int fd() const { return telephone.fd(); }

    /** 20 ms frames that the whole sentence takes. */
    [[nodiscard]] std::size_t voice_frames() const { return voice.size() / frame_samples; }
    /** What it said as its codec left it: the voice that the others can hear at best. */
    [[nodiscard]] const sound& said() const { return said_samples; }
    [[nodiscard]] const sound& heard() const { return heard_samples; }
    [[nodiscard]] std::size_t heard_frames() const { return heard_samples.size() / frame_samples; }

    [[nodiscard]] int voice_packets_sent() const { return voice_sent; }
    [[nodiscard]] int event_packets_sent() const { return events_sent; }
    [[nodiscard]] int voice_packets_received() const { return voice_received; }
    [[nodiscard]] int other_packets_received() const { return others_received; }
    /** Gaps in the sequence numbers received. */
    [[nodiscard]] int packets_lost() const { return lost; }

  private:
    void send(int payload_type, bool marker, std::span<const std::uint8_t> payload);
    void hear(const harness::rtp_view& packet);

    std::string leg_name;
    std::string leg_encoding;
    sound voice;                           ///< whole frames
    harness::rtp_peer telephone;           ///< its socket
    std::uint16_t remote_port = 0;         ///< the daemon's side of the leg
    std::unique_ptr<codec> mouth;          ///< encodes what it says
    std::unique_ptr<codec> monitor;        ///< decodes what it said
    std::unique_ptr<codec> ear;            ///< decodes what it hears
    std::size_t next_frame = 0;            ///< of the voice
    std::uint32_t ssrc;                    ///< random, as every source's
    std::uint16_t sequence = 0;            ///< of the last packet sent
    std::uint32_t timestamp = 0;           ///< of the next voice packet
    std::optional<std::uint16_t> last_seq; ///< highest sequence number received
    sound said_samples;
    sound heard_samples;
    int voice_sent = 0;
    int events_sent = 0;
    int voice_received = 0;
    int others_received = 0;
    int lost = 0;
};

} // namespace vocalink::demo
