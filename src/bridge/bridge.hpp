// SPDX-License-Identifier: GPL-3.0-or-later
// The object that joins streams so that their parties hear each other.
#pragma once

#include "bridge/audio_policy.hpp"
#include "streams/stream.hpp"
#include "util/event_loop.hpp"
#include "util/signal.hpp"

#include <memory>
#include <string>

namespace vocalink {

/** A set of member streams. Its audio policy moves the audio between them.
 *
 *  Owned by the connection that created it. Ends itself when it has been empty for the time-out, as
 *  the last act of its timer's callback. Members are views: their connection owns them, and
 *  deleted_signal takes them out. Loop thread only. */
class bridge {
  public:
    /** @param make_policy  makes the audio policy; by default relay and mix */
    explicit bridge(std::string id, audio_policy_maker make_policy = make_relay_mix);
    bridge(const bridge&) = delete;
    bridge& operator=(const bridge&) = delete;
    ~bridge();

    const std::string id;
    /** Emitted once with the id when the bridge ends; its members have been let go by then. */
    util::signal1<std::string> deleted_signal;
    /** Carries the time-out notice with a line end of its own.
     *  Deliberate: docs/behaviours.md#empty-line-after-a-bridge */
    util::signal1<std::string> notify_signal;

    /** Makes a stream a member.
     *  @throws bridge_exception when it is a member already, here or of another bridge */
    void add_stream(stream* member);
    /** Lets a member go.
     *  @throws bridge_exception when there is no such member */
    void remove_stream(std::string stream_id);

    [[nodiscard]] audio_mode mode() const { return audio->mode(); }
    /** The member of that id, or null. */
    [[nodiscard]] stream* find_stream(const std::string& stream_id) const;
    /** The members by id, for listings; each join and leave changes the map. */
    [[nodiscard]] const bridge_members& members() const { return streams; }

  private:
    void member_ended(std::string stream_id);
    void let_go(stream& member);
    void bridge_timeout_callback(ev::timer& timer, int events);

    ev::timer timeout_timer;
    double last_change;                        // s, loop clock: last join or leave
    bridge_members streams;                    // the members by id
    const std::unique_ptr<audio_policy> audio; // after the members, which it looks at
};

} // namespace vocalink
