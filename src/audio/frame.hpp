// SPDX-License-Identifier: GPL-3.0-or-later
// The lengths of frames of linear samples.
#pragma once

namespace vocalink {

/** Everything runs at 8 kHz. */
inline constexpr int samples_per_ms = 8;
inline constexpr int samples_per_second = 1000 * samples_per_ms;

/** Samples of the longest frame, 30 ms, and of the usual one, 20 ms. */
inline constexpr int max_frame_samples = 240;
inline constexpr int usual_frame_samples = 160;
inline constexpr double usual_frame_s = 0.02;

/** Samples of one conference frame: 20 ms. */
inline constexpr int voice_frame_samples = 160;

/** Samples of the longest packet that a conference decodes: six iLBC frames of 30 ms. */
inline constexpr int max_voice_packet_samples = 1440;

} // namespace vocalink
