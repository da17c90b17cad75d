// SPDX-License-Identifier: GPL-3.0-or-later
// A bound on how often something happens in a second.
#pragma once

#include <utility>

namespace vocalink::util {

/** Admits a fixed number of occurrences a second and counts the rest. Time is passed in. A second
 *  begins with the first occurrence after the second before it. */
class rate_guard {
  public:
    explicit rate_guard(int admitted_per_second) : limit(admitted_per_second) {}

    /** Counts one more. @param now_s  never decreasing. @return whether it is within the bound */
    [[nodiscard]] bool admit(double now_s) {
        if (now_s >= second_end_s) {
            second_end_s = now_s + 1.0;
            admitted = 0;
        }
        if (admitted < limit) {
            admitted += 1;
            return true;
        }
        refused += 1;
        return false;
    }

    /** How many were refused since this was last asked. */
    [[nodiscard]] long long take_refused() { return std::exchange(refused, 0); }

  private:
    const int limit;
    int admitted = 0; // in this second
    double second_end_s = 0.0;
    long long refused = 0;
};

} // namespace vocalink::util
