// SPDX-License-Identifier: GPL-3.0-or-later
// The payload types that a far end uses in place of the usual ones.
#pragma once

#include "rtp/rtp_payload.hpp"

namespace vocalink {

/** Translates between the payload types of one far end and the usual ones, by which everything
 *  inside knows codecs and telephone events. Changes nothing until a type is named: parties of SDP
 *  choose 96 to 127 as they like. Belongs to its stream; loop thread only. */
class payload_types {
  public:
    /** Names the type of the far end's iLBC. */
    void name_audio(int type) { named_audio = type; }
    /** Names a type of the far end's telephone events, besides the usual ones. */
    void name_events(int type) { named_events = type; }

    /** The usual type of what the far end sends on a type. */
    [[nodiscard]] int from_wire(int type) const {
        if (type == named_audio) {
            return ILBC;
        }
        return type == named_events ? usual_event_payload : type;
    }

    /** The far end's type for what has a usual type here. */
    [[nodiscard]] int to_wire(int type) const {
        if (named_audio != none && type == ILBC) {
            return named_audio;
        }
        return named_events != none && is_event_payload(type) ? named_events : type;
    }

  private:
    static constexpr int none = -1;

    int named_audio = none;
    int named_events = none;
};

} // namespace vocalink
