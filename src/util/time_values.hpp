// SPDX-License-Identifier: GPL-3.0-or-later
// Arithmetic, comparison and text renderings of timespec, for time stamps and durations.
#pragma once

#include <compare>
#include <cstdint>
#include <ctime>
#include <ostream>
#include <string>

namespace vocalink::util {

using std::timespec;

// Values are kept sign-consistent, not reduced to 0..999999999 ns: positive seconds carry
// nanoseconds of 0..999999999, negative seconds -999999999..0, zero seconds either sign, so minus
// half a second is {0, -500000000}.

timespec& operator+=(timespec& a, const timespec& b);
timespec& operator-=(timespec& a, const timespec& b);
[[nodiscard]] timespec operator+(const timespec& a, const timespec& b);
[[nodiscard]] timespec operator-(const timespec& a, const timespec& b);

/** Equal when they differ by nothing, however their fields are split. */
[[nodiscard]] bool operator==(const timespec& a, const timespec& b);
[[nodiscard]] std::strong_ordering operator<=>(const timespec& a, const timespec& b);

/** The whole value in nanoseconds. */
[[nodiscard]] std::int64_t nanoSeconds(const timespec& a);

/** A duration at human scale: "2s250ms", "50000us" (up to 100 ms), "0ns". */
[[nodiscard]] std::string hsec(const timespec& a);

/** Both fields as they are, with a trailing blank: "2s 5ns ". */
[[nodiscard]] std::string raw(const timespec& a);

/** Seconds with a fraction of 0 to 9 digits, cut and not rounded: "2.005". */
[[nodiscard]] std::string fixed(const timespec& a, int digits);

/** Local time of day, "14:03:07.000120000". */
std::ostream& operator<<(std::ostream& os, const timespec& a);

} // namespace vocalink::util
