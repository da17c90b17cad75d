// SPDX-License-Identifier: GPL-3.0-or-later
// What the line from a far end is like.
#pragma once

#include <cstdint>

namespace vocalink {

/** Counts and measures of what came from a far end, over all its sources. */
struct line_quality {
    std::uint64_t lost = 0;         // packets expected less those that came once (RFC 3550 A.3)
    std::uint64_t late = 0;         // packets that came after their turn
    std::uint64_t duplicate = 0;    // packets that came again
    std::uint64_t concealed_ms = 0; // audio made up in place of what was missing
    double jitter_ms = 0.0;         // RFC 3550 A.8
    int delay_ms = 0;               // audio that waits to be played
};

} // namespace vocalink
