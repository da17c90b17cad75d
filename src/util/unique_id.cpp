// SPDX-License-Identifier: GPL-3.0-or-later
// Compact base-34 numbers, and the identifiers made from them.
#include "util/unique_id.hpp"

#include "util/text.hpp"

#include <algorithm>
#include <cstdlib>
#include <ctime>

namespace vocalink::util {

const char* const base34m = "0123456789ABCDEFGHJKLMNPQRSTUVWXYZ";

std::string to_base34m(unsigned long long value) {
    std::string digits;
    while (value > 34) {
        digits += base34m[value % 34];
        value /= 34;
    }
    if (value != 0) {
        digits += base34m[value]; // 34 takes the terminating NUL
    }
    std::reverse(digits.begin(), digits.end());
    return digits;
}

std::string uniqueid() {
    constexpr long long epoch_us = 1'000'000'000'000'000;
    std::timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    // Two in one microsecond, or a clock set back, must not give the same identifier twice.
    static long long last_us = 0;
    const long long us =
        std::max(static_cast<long long>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000, last_us + 1);
    last_us = us;
    const std::string time = to_base34m(static_cast<unsigned long long>(us - epoch_us));
    const std::string random = to_base34m(static_cast<unsigned long long>(std::rand() % 1122 + 34));
    return format("%s-%s", time.c_str(), random.c_str());
}

} // namespace vocalink::util
