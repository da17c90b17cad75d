// SPDX-License-Identifier: GPL-3.0-or-later
// What a conference needs of a member.
#pragma once

#include "rtp/key_sender.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace vocalink {

/** Samples of one tick of every conference: 20 ms at 8 kHz. */
inline constexpr std::size_t tick_samples = 160;

/** One tick of audio, linear samples, and such samples wherever they are. */
using tick_frame = std::array<std::int16_t, tick_samples>;
using tick_view = std::span<const std::int16_t, tick_samples>;

/** A stream's part in a conference, from its join to its leave. Each kind of stream has its own.
 *
 *  Owned by the conference, which drops it when its stream leaves or ends; the stream's derived part
 *  may be gone by then, so destructors use the stream's base at most. Nothing here ends a stream or
 *  a conference within a call: a stream that is over ends itself from a timer. Times are seconds of
 *  the monotonic clock. Loop thread only. */
class conference_leg {
  public:
    /** What every tick needs should lie in the first bytes of a leg: they are fetched in advance. */
    static constexpr std::size_t hot_bytes = 704;

    conference_leg() = default;
    conference_leg(const conference_leg&) = delete;
    conference_leg& operator=(const conference_leg&) = delete;
    virtual ~conference_leg() = default;

    /** What the member says in this tick, if anything. Valid until the next call. */
    [[nodiscard]] virtual std::optional<tick_view> speak(double now_s) = 0;

    /** The keys that the member begins to send in this tick. */
    [[nodiscard]] virtual std::span<const key_press> keys() { return {}; }

    /** Whether hear() is to be called every tick. */
    [[nodiscard]] virtual bool listens() const { return false; }

    /** Takes what the member hears in the tick that is, or was, due at that time. */
    virtual void hear(const tick_frame&, double /*due_s*/) {}

    /** Takes a key that somebody sends to this member. */
    virtual void take_key(const key_press&) {}
};

} // namespace vocalink
