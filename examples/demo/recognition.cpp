// SPDX-License-Identifier: GPL-3.0-or-later
// Measuring how loud something is, whose voice is in it, and which tones.
#include "codec.hpp"
#include "sound.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

namespace vocalink::demo {

namespace {

constexpr double full_scale = 32768.0;
constexpr std::size_t max_delay_samples = 4000;

/** Sum of products. Eight partial sums let the compiler use vector registers. */
float correlation(const float* left, const float* right, std::size_t samples) {
    std::array<float, 8> sums{};
    for (std::size_t i = 0; i + sums.size() <= samples; i += sums.size()) {
        for (std::size_t k = 0; k < sums.size(); ++k) {
            sums[k] += left[i + k] * right[i + k];
        }
    }
    float total = 0;
    for (const float sum : sums) {
        total += sum;
    }
    return total;
}

std::vector<float> scaled(std::span<const std::int16_t> samples) {
    std::vector<float> result(samples.size());
    std::transform(samples.begin(), samples.end(), result.begin(),
                   [](std::int16_t sample) { return static_cast<float>(sample / full_scale); });
    return result;
}

} // namespace

double level_dbfs(std::span<const std::int16_t> samples) {
    const std::vector<float> values = scaled(samples);
    const float energy = correlation(values.data(), values.data(), values.size());
    return energy > 0 ? 10 * std::log10(energy / static_cast<double>(values.size()))
                      : -std::numeric_limits<double>::infinity();
}

double likeness(std::span<const std::int16_t> heard, std::span<const std::int16_t> voice) {
    std::vector<float> source = scaled(voice);
    std::vector<float> target = scaled(heard);
    // Silence behind what was heard, so that every delay compares the whole voice.
    target.resize(std::max(target.size(), source.size() + max_delay_samples));
    const float voice_energy = correlation(source.data(), source.data(), source.size());
    double best = 0;
    for (std::size_t delay = 0; delay <= max_delay_samples; ++delay) {
        const float* const window = target.data() + delay;
        const float energy = correlation(window, window, source.size()) * voice_energy;
        if (energy > 0) {
            best = std::max(best, correlation(source.data(), window, source.size()) /
                                      std::sqrt(static_cast<double>(energy)));
        }
    }
    return best;
}

double energy_share(std::span<const std::int16_t> samples, double frequency_hz) {
    // Goertzel's filter: one term of the Fourier transform.
    const double feedback = 2 * std::cos(2 * std::numbers::pi * frequency_hz / sample_rate_hz);
    double state = 0;
    double before = 0;
    double energy = 0;
    for (const std::int16_t sample : samples) {
        const double next = sample + feedback * state - before;
        before = state;
        state = next;
        energy += static_cast<double>(sample) * sample;
    }
    const double found = state * state + before * before - feedback * state * before;
    return energy > 0 ? 2 * found / (energy * static_cast<double>(samples.size())) : 0;
}

} // namespace vocalink::demo
