// SPDX-License-Identifier: GPL-3.0-or-later
// Sending on time and receiving in between, in one thread.
#include "conversation.hpp"

#include <algorithm>
#include <chrono>
#include <vector>

#include <poll.h>

namespace vocalink::demo {

namespace {

using clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds frame_duration{20};

/** Waits for packets, or for the moment, and has every leg take in what came. */
void listen(std::span<leg> legs, clock::time_point until) {
    std::vector<pollfd> waited;
    for (const leg& each : legs) {
        waited.push_back({each.fd(), POLLIN, 0});
    }
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(until - clock::now()).count();
    if (::poll(waited.data(), waited.size(), std::max(0, static_cast<int>(rest))) <= 0) {
        return;
    }
    for (std::size_t i = 0; i < legs.size(); ++i) {
        if (waited[i].revents != 0) {
            legs[i].receive_waiting();
        }
    }
}

} // namespace

void talk(std::span<leg> legs, std::size_t ticks, const std::function<void(std::size_t)>& tick) {
    clock::time_point due = clock::now();
    for (std::size_t i = 0; i < ticks; ++i) {
        tick(i);
        due += frame_duration;
        while (clock::now() < due) {
            listen(legs, due);
        }
    }
}

bool listen_until(std::span<leg> legs, harness::milliseconds timeout,
                  const std::function<bool()>& satisfied) {
    const clock::time_point end = clock::now() + timeout;
    while (!satisfied()) {
        if (clock::now() >= end) {
            return false;
        }
        listen(legs, end);
    }
    return true;
}

void press_key(std::span<leg> legs, leg& presser, int event) {
    constexpr std::size_t growing_packets = 5;
    constexpr std::size_t end_packets = 3;
    talk(legs, growing_packets + end_packets, [&](std::size_t i) {
        const std::size_t frames = std::min(i + 1, growing_packets);
        presser.send_event(event, static_cast<std::uint16_t>(frames * frame_samples), i == 0,
                           i >= growing_packets);
    });
}

} // namespace vocalink::demo
