// SPDX-License-Identifier: GPL-3.0-or-later
// The tick that all conferences of the process share.
#pragma once

#include "util/event_loop.hpp"
#include "util/unique_fd.hpp"

#include <vector>

namespace vocalink {

/** What is called every tick. */
class tick_listener {
  public:
    /** @param now_s, due_s  monotonic clock: when the tick comes, and when it should have */
    virtual void tick(double now_s, double due_s) = 0;

  protected:
    ~tick_listener() = default;
};

/** Calls its listeners every 20 ms of the monotonic clock. The schedule is absolute, so it does not
 *  drift. After a late wake-up up to five ticks come at once; after a longer delay the schedule
 *  starts anew. The clock stops while nobody listens. Loop thread only. */
class conference_clock {
  public:
    static conference_clock& instance();

    /** @throws bridge_exception when the system gives no timer */
    void add(tick_listener& listener);
    /** Removes a listener, also from within a tick. Ignores one that does not listen. */
    void remove(tick_listener& listener);

  private:
    void start();
    void handle_expiry(ev::io& io, int events);
    void tick_all(double due_s);

    util::unique_fd timer;                 // while there are listeners
    std::vector<tick_listener*> listeners; // null: removed during a tick
    bool ticking = false;
    double last_due_s = 0.0; // of the running schedule: its begin, then its last tick
    ev::io watcher;          // after the timer: stops before it closes
};

} // namespace vocalink
