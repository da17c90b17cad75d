// SPDX-License-Identifier: GPL-3.0-or-later
// Making up what a missing packet would have said.
#pragma once

#include "audio/playout_line.hpp"
#include "audio/voice_decoder.hpp"

#include <cstdint>
#include <span>

#include <spandsp.h>

namespace vocalink {

/** Continues a speaker's wave while packets are missing: G.729 and iLBC by the codec's own means,
 *  the others by repeating the last pitch period. It has faded to silence after 100 ms; the comfort
 *  noise that follows a G.729 silence description goes on for half a second. Belongs to one playout
 *  buffer. */
class concealer {
  public:
    concealer();

    /** Takes note of a packet's samples before they join the line, and softens their beginning
     *  after a gap. */
    void heard(int payload_type, std::span<const std::uint8_t> payload,
               std::span<std::int16_t> samples);

    /** Adds made-up samples to the line: at least that many, more where the codec makes whole
     *  frames only.
     *  @return those that stand for lost speech and are not silence */
    int make_up(voice_decoder& decoder, playout_line& line, int samples);

    /** Whether nothing but silence is made up by now. */
    [[nodiscard]] bool silent() const;

  private:
    void begin_fill(const playout_line& line);
    void fade(std::span<std::int16_t> samples) const;

    plc_state_t plc{};
    int payload_type_heard = -1;
    bool plc_fills = false; // the present gap, or the one before the next packet
    bool comfort_noise = false;
    int made_up = 0; // samples since the last packet
};

} // namespace vocalink
