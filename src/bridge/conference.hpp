// SPDX-License-Identifier: GPL-3.0-or-later
// The bridge in which every member is mixed, 20 ms at a time.
#pragma once

#include "bridge/audio_policy.hpp"
#include "bridge/conference_clock.hpp"
#include "streams/conference_leg.hpp"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vocalink {

/** Every 20 ms takes what each member says and gives each member the sum of all whom it may hear,
 *  less itself. A member costs the same however many there are, as long as no routing rule sets it
 *  apart. */
class conference : public audio_policy, private tick_listener {
  public:
    conference() = default;
    ~conference() override;

    void joined(stream& member) override;
    void left(stream& member) override;
    [[nodiscard]] audio_mode mode() const override;

  private:
    struct seat {
        stream* member;
        std::unique_ptr<conference_leg> leg;
        std::optional<tick_view> said; // in this tick
    };
    using sum_frame = std::array<std::int32_t, tick_samples>;

    void tick(double now_s, double due_s) override;
    void hear_out_members(double now_s);
    void prefetch_after(const seat& served) const;
    void pass_keys();
    void answer(const seat& listener, double due_s);
    void add_restricted(sum_frame& heard, const seat& listener) const;
    void add_sources(sum_frame& heard, const seat& listener) const;
    [[nodiscard]] const seat* find_seat(const std::string& stream_id) const;

    std::vector<seat> seats; // by the id of the member

    // Of the running tick; kept so that a tick allocates nothing.
    alignas(32) sum_frame open_sum{};    // of all speakers that everybody may hear
    std::vector<const seat*> restricted; // those who speak for their targets only
    std::vector<const seat*> pressing;   // those who send keys
    int open_speakers = 0;
};

} // namespace vocalink
