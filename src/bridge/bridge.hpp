// SPDX-License-Identifier: GPL-3.0-or-later
// The object that joins streams so that their parties hear each other.
#pragma once

#include "audio/mixer.hpp"
#include "streams/stream.hpp"
#include "util/event_loop.hpp"
#include "util/signal.hpp"

#include <map>
#include <string>
#include <vector>

namespace vocalink {

/** A set of member streams and the one of three ways in which audio moves between them: a lone
 *  member is drained, two of one codec are relayed packet by packet, and everything else is mixed
 *  on a timer.
 *
 *  Owned by the connection that created it; ends itself when it has been empty for the time-out, as
 *  the last act of its own timer's callback. Members are views: their connection owns them, and
 *  deleted_signal takes them out. Loop thread only. */
class bridge {
  public:
    explicit bridge(std::string id);
    bridge(const bridge&) = delete;
    bridge& operator=(const bridge&) = delete;
    ~bridge();

    const std::string id;
    /** Emitted once with the id when the bridge ends; its members have been let go by then. */
    util::signal1<std::string> deleted_signal;
    /** Carries the time-out notice, which brings its own line end. */
    util::signal1<std::string> notify_signal;

    /** Takes a stream in and chooses the mode by the new count of members.
     *  @throws bridge_exception when it is a member already, here or of another bridge */
    void add_stream(stream* joining);
    /** Lets a member go. Also the listener of each member's deleted_signal.
     *  @throws bridge_exception when there is no such member */
    void remove_stream(std::string stream_id);

    [[nodiscard]] int stream_count() const { return static_cast<int>(streams.size()); }
    /** The member of that id, or null. */
    [[nodiscard]] stream* find_stream(const std::string& stream_id) const;
    /** The members' own list texts, "(X),(Y)". */
    [[nodiscard]] std::string list_streams() const;
    /** Writes the table of members to the log. */
    void show_streams() const;

  private:
    void choose_mode_after_join();
    void let_go(stream& leaving);

    // Synchronisation: bridge_sync.cpp
    void enable_null_sync();
    void disable_null_sync();
    void enable_direct_sync();
    void disable_direct_sync();

    // Mixing: bridge_mix.cpp
    void start_mixing();
    void stop_mixing();
    void mix_callback(ev::timer& timer, int events);
    void read_members();
    void sum_open_speakers();
    void mix_for(stream& listener);
    void mix_all_heard(stream& listener);
    void mix_sources(stream& listener);
    static void pass_event(stream& speaker, stream& listener);

    void bridge_timeout_callback(ev::timer& timer, int events);

    stream* sync_first = nullptr;  // first member in null or direct synchronisation
    stream* sync_second = nullptr; // second member in direct synchronisation
    ev::timer mix_timer;
    bool mixing = false;       // mix_timer has been started
    bool join_pending = false; // the next cycle drains its members
    ev::timer timeout_timer;
    double last_change;                     // s, loop clock: last join or leave
    std::map<std::string, stream*> streams; // the members by id

    // Of the running cycle; kept so that a cycle allocates nothing.
    frame_sum open_sum{};                  // of all speakers that everybody may hear
    std::vector<stream*> special_speakers; // those that are restricted or speak in events
    std::vector<const short*> frames;      // what a selective listener hears
};

} // namespace vocalink
