// SPDX-License-Identifier: GPL-3.0-or-later
// Sound files, and how loud a sound is, whose voice is in it, and which tones.
#include "sound.hpp"

#include "audio/g711.hpp"
#include "recording/wav.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <fstream>
#include <iterator>
#include <numbers>
#include <stdexcept>

namespace vocalink::demo {

namespace {

constexpr std::size_t max_delay_samples = 4000;

/** Sum of products. Eight partial sums let the compiler use vector registers. */
float correlation(const float* left, const float* right, std::size_t samples) {
    std::array<float, 8> sums{};
    for (std::size_t i = 0; i + sums.size() <= samples; i += sums.size()) {
        for (std::size_t k = 0; k < sums.size(); ++k) {
            sums[k] += left[i + k] * right[i + k];
        }
    }
    return sums[0] + sums[1] + sums[2] + sums[3] + sums[4] + sums[5] + sums[6] + sums[7];
}

/** The samples in parts of full scale. */
std::vector<float> scaled(std::span<const std::int16_t> samples) {
    std::vector<float> result(samples.begin(), samples.end());
    std::ranges::for_each(result, [](float& sample) { sample /= 32768; });
    return result;
}

} // namespace

sound read_ulaw_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    if (bytes.empty()) {
        throw std::runtime_error("no speech in " + path);
    }
    sound samples(bytes.size());
    ulaw2linear(bytes.data(), samples.data(), static_cast<int>(bytes.size()));
    return samples;
}

void write_wav_file(const std::string& path, const sound& samples) {
    const std::size_t bytes = samples.size() * sizeof samples[0];
    std::ofstream file(path, std::ios::binary);
    file << wav_header(bytes);
    file.write(reinterpret_cast<const char*>(samples.data()), static_cast<std::streamsize>(bytes));
}

double level_dbfs(std::span<const std::int16_t> samples) {
    const std::vector<float> values = scaled(samples);
    const double energy = correlation(values.data(), values.data(), values.size());
    return 10 * std::log10(energy / static_cast<double>(values.size()));
}

double likeness(std::span<const std::int16_t> heard, std::span<const std::int16_t> voice) {
    const std::vector<float> source = scaled(voice);
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
    const double step = 2 * std::numbers::pi * frequency_hz / sample_rate_hz;
    std::complex<double> found; // one term of the Fourier transform
    double energy = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        found += std::polar<double>(samples[i], step * static_cast<double>(i));
        energy += std::pow(samples[i], 2);
    }
    return energy > 0 ? 2 * std::norm(found) / (energy * static_cast<double>(samples.size())) : 0;
}

} // namespace vocalink::demo
