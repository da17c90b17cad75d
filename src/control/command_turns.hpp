// SPDX-License-Identifier: GPL-3.0-or-later
// Shares the loop's time for commands among all controllers.
#pragma once

#include "util/event_loop.hpp"

#include <chrono>
#include <deque>

namespace vocalink {

/** Somebody who has commands to run. */
class turn_taker {
  public:
    /** Does one short piece of work. Must not destroy any taker. @return whether there is more */
    virtual bool take_turn() = 0;

  protected:
    ~turn_taker() = default;
};

/** Runs the commands of all controllers, one piece of each in turn, for at most a fixed time in each
 *  iteration of the loop, so that packets wait no longer than that and the last piece, however many
 *  controllers are busy. A piece takes a tenth of a millisecond at most, but for the reply of a
 *  listing of tens of thousands of streams. Owned by main. Loop thread only. */
class command_turns {
  public:
    explicit command_turns(std::chrono::microseconds budget = std::chrono::milliseconds(1));
    command_turns(const command_turns&) = delete;
    command_turns& operator=(const command_turns&) = delete;

    /** Queues a taker, who must not be queued yet; its turn comes in this iteration of the loop or a
     *  later one, never within this call. */
    void add(turn_taker& taker);
    /** Lets everybody who is queued have turns, as far as this iteration of the loop has time. */
    void run();
    /** Whether this iteration of the loop has time left. Whoever works for controllers outside run(),
     *  such as sending what they did not take at once, asks first, and then spends. */
    [[nodiscard]] bool has_time();
    void spend(std::chrono::nanoseconds time) { spent += time; }
    /** Forgets a taker, queued or not. */
    void remove(turn_taker& taker);

    /** Packets come first: watchers whose callbacks run commands get this priority. */
    static constexpr int watcher_priority = EV_MINPRI;

  private:
    [[nodiscard]] std::chrono::nanoseconds time_withheld() const;
    void handle_timer(ev::timer& timer, int events);

    const std::chrono::microseconds budget; // of one iteration of the loop
    std::chrono::nanoseconds spent{0};      // in the iteration of that number
    unsigned iteration = 0;
    std::deque<turn_taker*> queue; // views; takers remove themselves
    ev::timer timer;               // runs while somebody is queued
};

} // namespace vocalink
