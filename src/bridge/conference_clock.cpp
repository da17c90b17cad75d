// SPDX-License-Identifier: GPL-3.0-or-later
// The tick that all conferences of the process share.
#include "bridge/conference_clock.hpp"

#include "base/exceptions.hpp"
#include "util/monotonic_time.hpp"

#include <algorithm>
#include <cstdint>

#include <sys/timerfd.h>
#include <unistd.h>

namespace vocalink {

namespace {

constexpr long tick_ns = 20'000'000;
constexpr double tick_s = 0.02;
constexpr std::uint64_t most_caught_up = 5;

} // namespace

conference_clock& conference_clock::instance() {
    static conference_clock clock;
    return clock;
}

void conference_clock::add(tick_listener& listener) {
    if (!timer) {
        timer.reset(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
        if (!timer) {
            throw bridge_exception("no timer for the conference");
        }
        start();
        watcher.set<conference_clock, &conference_clock::handle_expiry>(this);
        watcher.start(timer.get(), ev::READ);
    }
    listeners.push_back(&listener);
}

void conference_clock::remove(tick_listener& listener) {
    std::replace(listeners.begin(), listeners.end(), &listener,
                 static_cast<tick_listener*>(nullptr));
    if (ticking) {
        return; // tick_all() goes through them
    }
    std::erase(listeners, nullptr);
    if (listeners.empty()) {
        watcher.stop();
        timer.reset();
    }
}

/** Begins a schedule: one tick every 20 ms from now. */
void conference_clock::start() {
    const itimerspec schedule{{0, tick_ns}, {0, tick_ns}};
    ::timerfd_settime(timer.get(), 0, &schedule, nullptr);
    last_due_s = util::monotonic_seconds();
}

void conference_clock::handle_expiry(ev::io&, int) {
    std::uint64_t due = 0;
    if (::read(timer.get(), &due, sizeof due) != sizeof due) {
        return;
    }
    const std::uint64_t ticks = std::min(due, most_caught_up);
    last_due_s += static_cast<double>(due - ticks) * tick_s;
    for (std::uint64_t i = 0; i < ticks && timer; ++i) {
        last_due_s += tick_s;
        tick_all(last_due_s);
    }
    if (due > ticks && timer) {
        start();
    }
}

void conference_clock::tick_all(double due_s) {
    const double now_s = util::monotonic_seconds();
    ticking = true;
    for (std::size_t i = 0; i < listeners.size(); ++i) {
        if (listeners[i] != nullptr) {
            listeners[i]->tick(now_s, due_s);
        }
    }
    ticking = false;
    std::erase(listeners, nullptr);
    if (listeners.empty()) {
        watcher.stop();
        timer.reset();
    }
}

} // namespace vocalink
