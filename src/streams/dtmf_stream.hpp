// SPDX-License-Identifier: GPL-3.0-or-later
// The sender of one telephone event.
#pragma once

#include "rtp/rtp_packet.hpp"
#include "streams/timer_stream.hpp"
#include "util/event_loop.hpp"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace vocalink {

/** Speaks one digit into a bridge as telephone-event packets (RFC 4733) and then ends, with the
 *  time-out notice, on the next turn of the loop. Bridges pass its packets on unmixed and send it
 *  nothing. */
class dtmf_stream : public timer_stream {
  public:
    /** @param digits  one of 0-9, * and #; anything else is logged and sent as 0.
     *  Deliberate: docs/behaviours.md#unknown-digit
     *  @param payload_type  of the packets; its low seven bits are used
     *  @param duration  the event lasts duration / 30 packets after the first */
    dtmf_stream(std::string id, std::string digits, int payload_type, int duration);

    int read_incoming_rtp(char* buf, int len, bool drain) override;
    int write_outgoing(const char* buf, int len) override;
    void dump_stats(std::ostream& os) override;
    void dump_detailed_stats(std::ostream& os) override;
    [[nodiscard]] std::string_view kind_word() const override { return "dtmf_stream"; }
    [[nodiscard]] std::string list_stream() override;
    [[nodiscard]] std::unique_ptr<conference_leg> make_conference_leg() override;

  private:
    class leg; // dtmf_conference.cpp

    static constexpr std::uint8_t event_volume = 10; // -dBm0

    /** The event of a digit (RFC 4733 3.2); none for what is no digit. */
    [[nodiscard]] static std::optional<std::uint8_t> event_code(char digit);
    void set_digit();

    const int end_after; // packets after the first that extend the event
    const std::string digits;
    const int payload_type; // as commanded
    const int duration;     // as commanded
    rtp_hdr_t rtp_header;
    std::array<char, event_payload_bytes> event; // of the packet before
};

} // namespace vocalink
