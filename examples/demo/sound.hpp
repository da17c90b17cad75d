// SPDX-License-Identifier: GPL-3.0-or-later
// Recorded speech in, heard speech out, and what can be measured of it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vocalink::demo {

inline constexpr int sample_rate_hz = 8000;
inline constexpr std::size_t frame_samples = 160; ///< 20 ms, one packet of every codec used here

/** Linear samples at 8 kHz. */
using sound = std::vector<std::int16_t>;

/** Reads a headerless mu-law file at 8 kHz. */
[[nodiscard]] sound read_ulaw_file(const std::string& path);

/** Writes a mono 16-bit WAV file at 8 kHz. */
void write_wav_file(const std::string& path, const sound& samples);

/** The root of the mean square in decibels below full scale (32768); minus infinity for silence. */
[[nodiscard]] double level_dbfs(std::span<const std::int16_t> samples);

/** How much of a voice is in what was heard: the best normalised cross-correlation over all delays
 *  up to half a second. 1 is the voice itself; of n equally loud voices each comes to about
 *  1 / sqrt(n), less what codecs distort; a voice that is not there stays near 0. */
[[nodiscard]] double likeness(std::span<const std::int16_t> heard,
                              std::span<const std::int16_t> voice);

/** The share that one frequency has in the energy of the samples, 0 to 1; 0 for silence. How close
 *  two frequencies may be and still be told apart is 8000 Hz divided by the number of samples. */
[[nodiscard]] double energy_share(std::span<const std::int16_t> samples, double frequency_hz);

} // namespace vocalink::demo
