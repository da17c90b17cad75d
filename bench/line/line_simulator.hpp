// SPDX-License-Identifier: GPL-3.0-or-later
// A telephone line on simulated time: when each packet of a talker arrives, if it does.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <queue>
#include <random>
#include <vector>

namespace vocalink::line {

/** What a line does to packets. Times in ms, shares from 0 to 1. */
struct line_settings {
    double packet_ms = 20;
    double delay_ms = 30;
    double jitter_ms = 0;     // each packet is later by 0 up to this
    double jitter_from_s = 0; // while the talker's clock is within these
    double jitter_until_s = 1e9;
    double loss = 0;               // share of packets lost, each by itself
    double reorder = 0;            // share of packets overtaken by the next one
    double doubled = 0;            // share of packets that arrive twice
    double drift = 0;              // the talker's clock is fast by this share
    double stall_every_s = 0;      // the line stands now and then, this far apart on average ...
    double stall_longest_ms = 0;   // ... for up to so long, and delivers all at once then
    double first_packet_s = 0.007; // against the listener's ticks
    std::uint32_t seed = 1;
};

/** One packet at the far end of the line. */
struct arrival {
    double time_s;
    int number; // packets are counted from 0 as they are sent
};

/** Gives the arrivals of an endless row of packets in the order of their time. Equal settings give
 *  equal arrivals. */
class line_simulator {
  public:
    explicit line_simulator(const line_settings& chosen) : settings(chosen), random(chosen.seed) {}

    /** The next arrival up to a time, if there is one. */
    [[nodiscard]] std::optional<arrival> next(double until_s) {
        while (sending_time(sent) <= until_s) {
            send(sent);
            ++sent;
        }
        if (under_way.empty() || under_way.top().time_s > until_s) {
            return std::nullopt;
        }
        const arrival first = under_way.top();
        under_way.pop();
        return first;
    }

    /** When a packet is sent, on the listener's clock. */
    [[nodiscard]] double sending_time(int number) const {
        return settings.first_packet_s + number * settings.packet_ms / 1000 / (1 + settings.drift);
    }

  private:
    struct later {
        bool operator()(const arrival& a, const arrival& b) const {
            return a.time_s != b.time_s ? a.time_s > b.time_s : a.number > b.number;
        }
    };

    double uniform() { return std::uniform_real_distribution<>(0, 1)(random); }

    void send(int number) {
        const double sent_s = sending_time(number);
        double delay_ms = settings.delay_ms;
        const double jitter = uniform();
        if (sent_s >= settings.jitter_from_s && sent_s < settings.jitter_until_s) {
            delay_ms += jitter * settings.jitter_ms;
        }
        if (uniform() < settings.reorder) {
            delay_ms += settings.packet_ms + 1;
        }
        double arrival_s = sent_s + delay_ms / 1000;
        if (settings.stall_every_s > 0) {
            arrival_s = std::max(arrival_s, stalled_until(arrival_s));
        }
        if (uniform() >= settings.loss) {
            under_way.push({arrival_s, number});
        }
        if (uniform() < settings.doubled) {
            under_way.push({arrival_s + 0.005, number});
        }
    }

    double stalled_until(double time_s) {
        while (next_stall_s <= time_s) {
            stall_end_s = next_stall_s + uniform() * settings.stall_longest_ms / 1000;
            next_stall_s += settings.stall_every_s * (0.5 + uniform());
        }
        return stall_end_s;
    }

    const line_settings settings;
    std::mt19937 random;
    int sent = 0;
    double next_stall_s = 1;
    double stall_end_s = 0;
    std::priority_queue<arrival, std::vector<arrival>, later> under_way;
};

} // namespace vocalink::line
