// SPDX-License-Identifier: GPL-3.0-or-later
// What the line from a far end is like.
#pragma once

#include <cmath>
#include <cstdint>
#include <ostream>

namespace vocalink {

/** Counts and measures of what came from a far end, over all its sources. A new one is a line in
 *  each of the three places here, and one where it is counted. */
struct line_quality {
    std::uint64_t lost = 0;         // packets expected less those that came once (RFC 3550 A.3)
    std::uint64_t late = 0;         // packets that came after their turn
    std::uint64_t duplicate = 0;    // packets that came again
    std::uint64_t concealed_ms = 0; // audio made up in place of what was missing
    double jitter_ms = 0.0;         // RFC 3550 A.8
    int delay_ms = 0;               // audio that waits to be played

    /** Adds the counts of an earlier time; measures are those of now. */
    line_quality& operator+=(const line_quality& earlier) {
        lost += earlier.lost;
        late += earlier.late;
        duplicate += earlier.duplicate;
        concealed_ms += earlier.concealed_ms;
        return *this;
    }

    /** " lost=N late=N" and so on. */
    void write_to(std::ostream& os) const {
        os << " lost=" << lost << " late=" << late << " duplicate=" << duplicate
           << " concealed_ms=" << concealed_ms << " jitter_ms=" << std::lround(jitter_ms)
           << " delay_ms=" << delay_ms;
    }
};

} // namespace vocalink
