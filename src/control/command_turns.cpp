// SPDX-License-Identifier: GPL-3.0-or-later
// Shares the loop's time for commands among all controllers.
#include "control/command_turns.hpp"

#include "util/monotonic_time.hpp"

#include <algorithm>

namespace vocalink {

namespace {

constexpr std::chrono::milliseconds usual_work(3); // of calls in an iteration

} // namespace

command_turns::command_turns(std::chrono::microseconds time_per_iteration)
    : budget(time_per_iteration) {
    timer.set<command_turns, &command_turns::handle_timer>(this);
    timer.priority = watcher_priority;
}

void command_turns::add(turn_taker& taker) {
    queue.push_back(&taker);
    if (!timer.is_active()) {
        timer.start(0.0);
    }
}

bool command_turns::has_time() {
    const unsigned present = ev::get_default_loop().iteration();
    if (iteration != present) {
        iteration = present;
        spent = time_withheld();
    }
    return spent < budget;
}

/** Where calls have taken long in this iteration, such as the mix of a large bridge, a quarter of the
 *  budget is left: no packet waits for both. */
std::chrono::nanoseconds command_turns::time_withheld() const {
    const std::chrono::duration<double> of_calls(util::monotonic_seconds() - util::loop_now());
    const auto excess = std::chrono::duration_cast<std::chrono::nanoseconds>(of_calls) - usual_work;
    return std::clamp<std::chrono::nanoseconds>(excess, std::chrono::nanoseconds(0),
                                                budget - budget / 4);
}

void command_turns::run() {
    auto before = std::chrono::steady_clock::now();
    while (!queue.empty() && has_time()) {
        turn_taker& taker = *queue.front();
        queue.pop_front();
        if (taker.take_turn()) {
            queue.push_back(&taker);
        }
        const auto after = std::chrono::steady_clock::now();
        spend(after - before);
        before = after;
    }
    if (queue.empty()) {
        timer.stop();
    } else if (!timer.is_active()) {
        timer.start(0.0);
    }
}

void command_turns::remove(turn_taker& taker) {
    std::erase(queue, &taker);
}

void command_turns::handle_timer(ev::timer&, int) {
    run();
}

} // namespace vocalink
