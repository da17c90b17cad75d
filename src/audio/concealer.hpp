// SPDX-License-Identifier: GPL-3.0-or-later
// Concealment of missing packets.
#pragma once

#include "audio/playout_line.hpp"
#include "audio/voice_decoder.hpp"

#include <cstdint>
#include <memory>
#include <span>

#include <spandsp.h>

namespace vocalink {

/** Continues a speaker's wave while packets are missing. G.729 and iLBC have concealment of their
 *  own; for the other codecs the last pitch period is repeated. The wave fades to silence within
 *  100 ms. Comfort noise after a G.729 silence description goes on for half a second. Belongs to one
 *  playout buffer. */
class concealer {
  public:
    concealer();

    /** Notes a packet's samples before they join the line, and fades them in after a gap. */
    void heard(int payload_type, std::span<const std::uint8_t> payload,
               std::span<std::int16_t> samples);

    /** Adds concealment to the line: at least that many samples, more where the codec makes whole
     *  frames only.
     *  @return how many of them replace speech */
    int make_up(voice_decoder& decoder, playout_line& line, int samples);

    /** Whether concealment has faded to silence. */
    [[nodiscard]] bool silent() const;

  private:
    void begin_fill(const playout_line& line);
    void fade(std::span<std::int16_t> samples) const;

    int payload_type_heard = -1;
    bool plc_fills = false; // in this gap, or in the one before the next packet
    bool comfort_noise = false;
    int made_up = 0; // samples since the last packet
    std::unique_ptr<plc_state_t> plc = std::make_unique<plc_state_t>(); // apart: seldom used
};

} // namespace vocalink
