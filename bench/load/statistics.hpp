// SPDX-License-Identifier: GPL-3.0-or-later
// Order statistics of samples.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace vocalink::bench {

/** The sample below which this fraction of them lies; 0 without samples. Reorders them. */
template <class Number>
[[nodiscard]] double percentile(std::vector<Number>& samples, double fraction) {
    if (samples.empty()) {
        return 0;
    }
    const auto rank = static_cast<std::size_t>(fraction * static_cast<double>(samples.size() - 1));
    const auto place = samples.begin() + static_cast<std::ptrdiff_t>(rank);
    std::nth_element(samples.begin(), place, samples.end());
    return static_cast<double>(*place);
}

/** The middle sample, of an even number the mean of the two in the middle. */
[[nodiscard]] inline double median(std::vector<double> samples) {
    if (samples.empty()) {
        return 0;
    }
    std::sort(samples.begin(), samples.end());
    const std::size_t middle = samples.size() / 2;
    return samples.size() % 2 == 1 ? samples[middle] : (samples[middle - 1] + samples[middle]) / 2;
}

} // namespace vocalink::bench
