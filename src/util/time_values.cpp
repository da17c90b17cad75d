// SPDX-License-Identifier: GPL-3.0-or-later
// Arithmetic, comparison and text renderings of timespec, for time stamps and durations.
#include "util/time_values.hpp"

#include "util/text.hpp"

#include <algorithm>

namespace vocalink::util {

namespace {

constexpr long ns_per_second = 1'000'000'000;

} // namespace

timespec& operator+=(timespec& a, const timespec& b) {
    a.tv_sec += b.tv_sec;
    a.tv_nsec += b.tv_nsec;
    // The bounds hold for the whole normalisation, also when the loops below change the sign.
    const long lower = a.tv_sec > 0 ? 0 : -(ns_per_second - 1);
    const long upper = a.tv_sec < 0 ? 0 : ns_per_second - 1;
    while (a.tv_nsec < lower) {
        a.tv_nsec += ns_per_second;
        a.tv_sec -= 1;
    }
    while (a.tv_nsec > upper) {
        a.tv_nsec -= ns_per_second;
        a.tv_sec += 1;
    }
    return a;
}

timespec& operator-=(timespec& a, const timespec& b) {
    return a += timespec{-b.tv_sec, -b.tv_nsec};
}

timespec operator+(const timespec& a, const timespec& b) {
    timespec sum = a;
    return sum += b;
}

timespec operator-(const timespec& a, const timespec& b) {
    timespec difference = a;
    return difference -= b;
}

std::strong_ordering operator<=>(const timespec& a, const timespec& b) {
    const timespec d = a - b;
    return d.tv_sec != 0 ? d.tv_sec <=> 0 : d.tv_nsec <=> 0;
}

bool operator==(const timespec& a, const timespec& b) {
    return std::is_eq(a <=> b); // as "== 0" clang-tidy 14 takes it for a null pointer
}

std::int64_t nanoSeconds(const timespec& a) {
    return std::int64_t{a.tv_sec} * ns_per_second + a.tv_nsec;
}

std::string hsec(const timespec& a) {
    std::string text;
    if (a.tv_sec != 0) {
        text = std::to_string(a.tv_sec) + "s";
    }
    const auto n = static_cast<std::uint32_t>(a.tv_nsec);
    if (n > 100'000'000) {
        text += std::to_string(n / 1'000'000) + "ms";
    } else if (n > 100'000) {
        text += std::to_string(n / 1000) + "us";
    } else if (n != 0 || a.tv_sec == 0) {
        text += std::to_string(n) + "ns";
    }
    return text;
}

std::string raw(const timespec& a) {
    return std::to_string(a.tv_sec) + "s " + std::to_string(a.tv_nsec) + "ns ";
}

std::string fixed(const timespec& a, int digits) {
    const std::string fraction = format("%09ld", a.tv_nsec);
    const auto kept = static_cast<std::size_t>(std::max(digits, 0));
    return std::to_string(a.tv_sec) + "." + fraction.substr(0, kept);
}

std::ostream& operator<<(std::ostream& os, const timespec& a) {
    std::tm local{};
    localtime_r(&a.tv_sec, &local);
    return os << format("%02d:%02d:%02d.%09ld", local.tm_hour, local.tm_min, local.tm_sec,
                        a.tv_nsec);
}

} // namespace vocalink::util
