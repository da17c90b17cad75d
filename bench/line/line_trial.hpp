// SPDX-License-Identifier: GPL-3.0-or-later
// A talker, a line and a playout buffer together on simulated time, and what the listener gets.
#pragma once

#include "audio/g711.hpp"
#include "audio/playout_buffer.hpp"
#include "line/line_simulator.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace vocalink::line {

/** When a packet's first sample was heard. */
struct heard_packet {
    double arrival_s;
    double delay_ms; // from its arrival to the tick that played its first sample
};

/** Runs a playout buffer at the end of a simulated line, tick by tick. The talker speaks µ-law. */
class line_trial {
  public:
    /** What packet number n says; its samples lie in the span. */
    using talker = std::function<void(int number, std::span<std::uint8_t>)>;

    line_trial(const line_settings& chosen, talker voice)
        : settings(chosen), line(chosen), speak(std::move(voice)) {}

    /** Lets the time pass until then. */
    void run_until(double end_s) {
        while (time_s < end_s) {
            tick();
            time_s += 0.020;
        }
    }

    /** Lets the process stand: neither packets nor ticks are handled for a while, then as many
     *  ticks at once, and then the next at its time. */
    void stand(double seconds, int ticks_at_once) {
        time_s += seconds;
        reading_time_s = time_s;
        for (int i = 0; i < ticks_at_once; ++i) {
            tick();
        }
    }

    playout_buffer buffer{-1, 0};
    std::vector<std::int16_t> samples; // all that was played
    std::vector<bool> said;            // what play() returned, by tick
    std::vector<double> arrivals;      // by packet number; the first, for doubled ones
    std::function<void(std::span<const std::int16_t, voice_frame_samples>, double)> on_tick;
    double time_s = 0;

  private:
    void tick() {
        while (const auto packet = line.next(time_s)) {
            receive(*packet);
        }
        said.push_back(buffer.play(time_s));
        const auto frame = buffer.played();
        samples.insert(samples.end(), frame.begin(), frame.end());
        if (on_tick) {
            on_tick(frame, time_s);
        }
    }

    void receive(const arrival& packet) {
        const auto number = static_cast<std::size_t>(packet.number);
        if (arrivals.size() <= number) {
            arrivals.resize(number + 1, 0.0);
        }
        if (arrivals[number] == 0.0) {
            arrivals[number] = packet.time_s;
        }
        const auto count = static_cast<std::size_t>(settings.packet_ms * samples_per_ms);
        const auto voice = std::span(payload).first(count);
        speak(packet.number, voice);
        buffer.put({.payload_type = 0,
                    .marker = packet.number == 0,
                    .sequence = static_cast<std::uint16_t>(packet.number + 65000),
                    .timestamp = static_cast<std::uint32_t>(number * count) + 0xFFFF0000U,
                    .ssrc = 0x1234,
                    .payload = voice},
                   std::max(packet.time_s, reading_time_s));
    }

    const line_settings settings;
    line_simulator line;
    talker speak;
    double reading_time_s = 0; // no packet is read before
    std::array<std::uint8_t, 960> payload{};
};

/** A talker whose every packet is one level, so that a listener can tell which packet he hears;
 *  measures from that how long each packet took. */
class delay_meter {
  public:
    explicit delay_meter(const line_settings& settings)
        : trial(settings, [](int number, std::span<std::uint8_t> voice) {
              std::fill(voice.begin(), voice.end(), code_of(number));
          }) {
        trial.on_tick = [this](std::span<const std::int16_t, voice_frame_samples> frame,
                               double tick_s) { listen(frame, tick_s); };
    }

    /** Delays of the packets that arrived within a span of time, in ms, sorted. */
    [[nodiscard]] std::vector<double> delays(double from_s, double until_s) const {
        std::vector<double> found;
        for (const heard_packet& packet : heard) {
            if (packet.arrival_s >= from_s && packet.arrival_s < until_s) {
                found.push_back(packet.delay_ms);
            }
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    [[nodiscard]] double median(double from_s, double until_s) const {
        const std::vector<double> all = delays(from_s, until_s);
        return all.empty() ? -1 : all[all.size() / 2];
    }

    [[nodiscard]] double worst(double from_s, double until_s) const {
        const std::vector<double> all = delays(from_s, until_s);
        return all.empty() ? -1 : all.back();
    }

    line_trial trial;

  private:
    static constexpr int levels = 96;

    static std::uint8_t code_of(int number) {
        return static_cast<std::uint8_t>(0x88 + number % levels);
    }

    static std::int16_t level_of(int number) {
        const char code = static_cast<char>(code_of(number));
        short level = 0;
        ulaw2linear(&code, &level, 1);
        return level;
    }

    /** A level counts as heard when it lasts 1.5 ms; fades pass faster. */
    void listen(std::span<const std::int16_t, voice_frame_samples> frame, double tick_s) {
        constexpr int enough = 12;
        for (std::size_t i = 0; i < frame.size(); ++i) {
            run = frame[i] == last ? run + 1 : 1;
            last = frame[i];
            if (run != enough) {
                continue;
            }
            for (int number = newest + 1; number < newest + levels / 2; ++number) {
                if (level_of(number) == last && number < static_cast<int>(trial.arrivals.size())) {
                    newest = number;
                    const double arrival_s = trial.arrivals[static_cast<std::size_t>(number)];
                    // The level may have begun in the tick before.
                    const double begin_s = i + 1 >= enough ? tick_s : tick_s - 0.020;
                    heard.push_back({arrival_s, (begin_s - arrival_s) * 1000});
                    break;
                }
            }
        }
    }

    std::vector<heard_packet> heard;
    int newest = -1;
    int run = 0;
    std::int16_t last = 0;
};

} // namespace vocalink::line
