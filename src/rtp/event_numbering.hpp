// SPDX-License-Identifier: GPL-3.0-or-later
// The numbering of telephone events that a stream passes on.
#pragma once

namespace vocalink {

/** Gives relayed events a continuous numbering of their own, whatever their source used: sequence
 *  numbers from 1, timestamps from 960, and each new event 960 units after the one before. Loop
 *  thread only. */
class event_numbering {
  public:
    /** Renumbers an event packet in place. The duration of an event's first packet becomes 0.
     *  @param header_bytes  before the event's payload, which must be whole */
    void renumber(char* packet, int header_bytes);

    /** Of the last event packet, -1 before the first. */
    [[nodiscard]] int last_sequence() const { return sequence; }
    [[nodiscard]] int last_timestamp() const { return timestamp; }

  private:
    int sequence = -1;
    int timestamp = -1;
};

} // namespace vocalink
