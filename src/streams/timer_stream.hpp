// SPDX-License-Identifier: GPL-3.0-or-later
// The base of streams without a network input: a timer says when a frame is due.
#pragma once

#include "streams/stream.hpp"
#include "util/event_loop.hpp"

#include <string>

namespace vocalink {

/** A stream that emits its sync_signal at the pace of its frames while somebody listens to it. */
class timer_stream : public stream {
  public:
    timer_stream(std::string id, std::string_view encoding, stream_kind kind);

    void enable_stream_loop() override;
    void disable_stream_loop() override;

  protected:
    /** Ends this stream, with the time-out notice, on the loop's next turn: whoever reads it now
     *  holds on to it. */
    void end_soon();

  private:
    void timer_stream_callback(ev::timer& timer, int events);
    void end_callback(ev::timer& timer, int events);

    ev::timer frame_timer;
    ev::timer end_timer;
};

} // namespace vocalink
