// SPDX-License-Identifier: GPL-3.0-or-later
// The digit sender in a conference: every listener sends the digits on in its own RTP stream.
#include "streams/conference_leg.hpp"
#include "streams/dtmf_stream.hpp"

#include <algorithm>
#include <vector>

namespace vocalink {

namespace {

constexpr int shortest_ms = 20;
constexpr int longest_ms = 8000;
constexpr int tick_ms = 20;

// Two more end packets and the pause that key_sender makes.
constexpr int ticks_between_keys = 3;

int ticks_of(int duration_ms) {
    return (std::clamp(duration_ms, shortest_ms, longest_ms) + tick_ms - 1) / tick_ms;
}

} // namespace

/** Hands the digits to the listeners one after the other, each when the digit before is over. Ends
 *  the stream after the last. */
class dtmf_stream::leg : public conference_leg {
  public:
    explicit leg(dtmf_stream& sender) : owner(sender) {
        for (const char digit : owner.digits) {
            if (const auto code = event_code(digit)) {
                codes.push_back(*code);
            }
        }
        if (codes.empty()) {
            codes.push_back(0); // Deliberate: docs/behaviours.md#unknown-digit
        }
    }

    [[nodiscard]] std::optional<tick_view> speak(double) override {
        pressing = ticks_left == 0 && sent < codes.size();
        if (pressing) {
            const int ticks = ticks_of(owner.duration);
            key = {codes[sent], event_volume, owner.payload_type, ticks};
            sent += 1;
            ticks_left = ticks + ticks_between_keys;
        }
        if (ticks_left > 0) {
            ticks_left -= 1;
            owner.count_incoming(rtp_header_bytes + event_payload_bytes);
        } else {
            owner.end_soon();
        }
        return {};
    }

    [[nodiscard]] std::span<const key_press> keys() override {
        return {&key, pressing ? std::size_t{1} : std::size_t{0}};
    }

  private:
    dtmf_stream& owner;
    std::vector<std::uint8_t> codes;
    std::size_t sent = 0;  // codes that have been handed out
    int ticks_left = 0;    // of the key in progress
    bool pressing = false; // the key begins in this tick
    key_press key{};
};

std::unique_ptr<conference_leg> dtmf_stream::make_conference_leg() {
    return std::make_unique<leg>(*this);
}

} // namespace vocalink
