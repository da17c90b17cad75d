// SPDX-License-Identifier: GPL-3.0-or-later
// How early packets come before the tick that plays them, and how early they should.
#pragma once

#include <cstdint>

namespace vocalink {

/** Watches the slack of a speaker's packets: the time from arrival to the tick that plays their
 *  first sample. The tightest packet of the last seconds, the one closest to being late, tells
 *  whether the delay is too short or too long. Jitter, clock drift and packet length all show in its
 *  slack, so that none of them is measured here.
 *
 *  A lead is the number of samples that are played before a packet's first. Belongs to one playout
 *  buffer. */
class playout_delay {
  public:
    /** How the delay is to change. */
    enum class wish { keep, shorten, lengthen };

    /** Notes a tick.
     *  @return the samples whose ticks will never come, because the process or its schedule stood still */
    [[nodiscard]] int tick(double now_s);

    /** Notes the arrival of a packet with that lead. */
    void arrived(std::int64_t lead, double now_s);

    /** Notes that everything waiting is played that many samples later, or earlier if negative. */
    void moved(int samples);

    /** The lead that lets a first packet, and what follows it, play without a gap.
     *  @param jitter_ms  of the line, as far as it is known */
    [[nodiscard]] int first_lead(double now_s, double jitter_ms) const;

    /** Whether a packet after a pause can keep the delay of before. */
    [[nodiscard]] bool is_usual(std::int64_t lead, double now_s, double jitter_ms) const;

    [[nodiscard]] wish wanted() const;

    /** Slack beyond what is needed, in ms; 0 until packets have come for a while. */
    [[nodiscard]] double excess_ms() const;

    /** Forgets the packets so far: another source, or another delay. */
    void forget();

  private:
    /** The packet of a span of time that came closest to being late. */
    struct tightest {
        bool known = false;
        double to_tick_ms = 0; // from its arrival to the next tick
        std::int64_t lead = 0;

        [[nodiscard]] double slack_ms() const;
    };

    [[nodiscard]] double ms_to_tick(double now_s) const;
    void note_late(double now_s);

    bool ticking = false;
    double due_s = 0;           // when the next tick is due
    double last_tick_s = 0;     // when the last one came
    bool last_was_late = false; // by more than a frame
    double last_late_s = -1e9;  // when a packet came too late
    double restless_until_s = 0;
    double span_end_s = 0;
    tightest this_span;
    tightest span_before;
};

} // namespace vocalink
