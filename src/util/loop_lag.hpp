// SPDX-License-Identifier: GPL-3.0-or-later
// How late the event loop comes to what is due.
#pragma once

#include "util/event_loop.hpp"

#include <vector>

namespace vocalink::util {

/** How late a timer is served, in seconds, and how long the loop is busy between two waits. */
struct lag_figures {
    double p99_s = 0;          // of 100 moments, 99 were served within this
    double longest_s = 0;      // the latest
    double longest_turn_s = 0; // the longest time without looking for packets
    // Since the start; these never go back.
    double busy_s = 0;
    double lateness_s = 0; // the sum over all moments
    long long moments = 0;
};

/** Measures a loop from within. A timer of its own fires a hundred times a second and tells how late
 *  it is; a delay that is longer than its period counts for each moment at which it would have fired
 *  meanwhile, so that one stall of a second is not one moment in a hundred. The turns are timed by
 *  one look at the clock each. Costs nothing per packet. Loop thread. */
class loop_lag {
  public:
    loop_lag();
    loop_lag(const loop_lag&) = delete;
    loop_lag& operator=(const loop_lag&) = delete;

    /** Ends the measurement, which would keep the loop running. */
    void stop();

    /** Begins another interval. @return the figures of the one that ends */
    [[nodiscard]] lag_figures take();

    /** Counts a timer that fired late by that much. */
    void note_lateness(double late_s);

  private:
    void note_moment(double late_s);
    void handle_probe(ev::timer& timer, int events);
    void handle_wake_up(ev::check& watcher, int events);
    void handle_rest(ev::prepare& watcher, int events);

    lag_figures figures;
    std::vector<double> lateness; // s, of this interval's moments
    double due_s;                 // when the timer is to fire
    double turn_began_s;
    ev::timer probe;
    ev::check wake_up;
    ev::prepare rest;
};

} // namespace vocalink::util
