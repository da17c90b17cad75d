// SPDX-License-Identifier: GPL-3.0-or-later
// The notices of one stream on their way to its controller.
#pragma once

#include "util/rate_guard.hpp"
#include "util/signal.hpp"

#include <string>

namespace vocalink {

/** What a controller is told unasked. */
struct notice {
    std::string text;   // without line end
    bool logged = true; // whether the log has it too
};

/** Bounds what one stream's notices write into the log: its far end can send thousands of key
 *  presses a second. The controller gets them all. Owned by owned_objects; loop thread only. */
class stream_notices {
  public:
    /** @param stream_id  the stream's own
     *  @param next  where notices go on; both outlive this */
    stream_notices(const std::string& stream_id, util::signal1<const notice&>& next);
    stream_notices(const stream_notices&) = delete;
    stream_notices& operator=(const stream_notices&) = delete;
    /** Logs how many were left out and not yet told. */
    ~stream_notices();

    /** Listens to the stream's notify_signal. */
    void handle_notification(std::string text);

  private:
    void log_left_out();

    const std::string& id;
    util::signal1<const notice&>& next;
    util::rate_guard log_rate;
};

} // namespace vocalink
