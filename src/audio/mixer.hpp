// SPDX-License-Identifier: GPL-3.0-or-later
// Sums of linear frames, saturated at the 16-bit limits.
#pragma once

#include "audio/frame.hpp"

#include <array>
#include <cstdint>

namespace vocalink {

/** A sum of frames before saturation; exact for up to 65,536 of them. */
using frame_sum = std::array<std::int32_t, max_frame_samples>;

/** Adds count frames into out: each sample becomes the saturated 32-bit sum of what out held and of
 *  all frames. Allocates nothing.
 *  @param out      samples linear samples, host order
 *  @param in       count pointers to frames of at least samples samples
 *  @param samples  160 (20 ms at 8 kHz) or 240 (30 ms) */
void mix_slinear_frames(short* out, const short* const* in, int count, int samples);

/** Adds one frame to a sum, without saturation. */
void add_frame(frame_sum& sum, const short* in, int samples);

/** Adds a sum less one of its frames into out, saturated: what a conference member hears. Gives the
 *  same samples as mix_slinear_frames over the others, at a cost that does not grow with their
 *  number.
 *  @param own  a frame that is part of the sum */
void mix_sum_without(short* out, const frame_sum& sum, const short* own, int samples);

} // namespace vocalink
