// SPDX-License-Identifier: GPL-3.0-or-later
// The bridge that relays packets within a pair and mixes everything else every 30 ms.
#pragma once

#include "audio/mixer.hpp"
#include "bridge/audio_policy.hpp"
#include "util/event_loop.hpp"

#include <string>
#include <vector>

namespace vocalink {

/** One of three ways of moving audio, chosen as members come and go: a lone member is drained, two
 *  of one codec are relayed packet by packet, and everything else is mixed on a timer. */
class relay_mix : public audio_policy {
  public:
    relay_mix(const std::string& bridge_id, const bridge_members& members);

    void joined(stream& member) override;
    void left(stream& member) override;
    [[nodiscard]] audio_mode mode() const override;

  private:
    // Synchronisation: relay_mix_sync.cpp
    void enable_null_sync();
    void disable_null_sync();
    void enable_direct_sync();
    void disable_direct_sync();

    // Mixing: relay_mix_cycle.cpp
    void start_mixing();
    void stop_mixing();
    void mix_callback(ev::timer& timer, int events);
    void list_members();
    void hear_members();
    void mix_for(stream& listener);
    void mix_all_heard(stream& listener);
    void mix_sources(stream& listener);
    static void pass_event(stream& speaker, stream& listener);

    const std::string& id;         // the bridge's, for the log
    const bridge_members& streams; // the bridge's

    stream* sync_first = nullptr;  // first member in null or direct synchronisation
    stream* sync_second = nullptr; // second member in direct synchronisation
    ev::timer mix_timer;
    bool mixing = false;       // mix_timer has been started
    bool join_pending = false; // the next cycle drains its members

    std::vector<stream*> listed; // the same, in the same order, to go through quickly
    // Of the running cycle; kept so that a cycle allocates nothing.
    frame_sum open_sum{};                  // of all speakers that everybody may hear
    std::vector<stream*> special_speakers; // those that are restricted or speak in events
    std::vector<const short*> frames;      // what a selective listener hears
};

} // namespace vocalink
