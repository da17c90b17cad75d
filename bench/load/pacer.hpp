// SPDX-License-Identifier: GPL-3.0-or-later
// When each packet of an evenly spread load is due.
#pragma once

#include <algorithm>
#include <cstdint>
#include <ctime>

namespace vocalink::bench {

/** Nanoseconds of the monotonic clock. */
[[nodiscard]] inline std::int64_t now_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

/** Hands out packet numbers 0, 1, 2 ... as their times come, one every interval. Late ones are not
 *  skipped: the number of packets is part of the load. */
class pacer {
  public:
    static constexpr std::int64_t late_ns = 1'000'000;

    pacer(std::int64_t first_due_ns, double gap_ns, std::uint64_t packets)
        : start_ns(first_due_ns), interval_ns(gap_ns), total(packets) {}

    /** True when another packet is due at this time; take() then gives its number. */
    [[nodiscard]] bool due(std::int64_t time_ns) const {
        return next < total && time_ns >= due_ns(next);
    }

    std::uint64_t take(std::int64_t time_ns) {
        late += time_ns - due_ns(next) > late_ns ? 1 : 0;
        return next++;
    }

    [[nodiscard]] bool finished() const { return next == total; }
    [[nodiscard]] std::uint64_t taken() const { return next; }

    /** Share of the packets that went out more than a millisecond late; a high one means that the
     *  generator did not get its core and the load came in bursts. */
    [[nodiscard]] double late_share() const {
        return static_cast<double>(late) / static_cast<double>(std::max<std::uint64_t>(next, 1));
    }

  private:
    [[nodiscard]] std::int64_t due_ns(std::uint64_t number) const {
        return start_ns + static_cast<std::int64_t>(static_cast<double>(number) * interval_ns);
    }

    std::int64_t start_ns;
    double interval_ns;
    std::uint64_t total;
    std::uint64_t next = 0;
    std::uint64_t late = 0;
};

} // namespace vocalink::bench
