// SPDX-License-Identifier: GPL-3.0-or-later
// Sums of linear frames, saturated at the 16-bit limits.
#include "audio/mixer.hpp"

#include <algorithm>

namespace vocalink {

namespace {

short saturated(std::int32_t sum) {
    return static_cast<short>(std::clamp(sum, -32768, 32767));
}

} // namespace

void mix_slinear_frames(short* out, const short* const* in, int count, int samples) {
    frame_sum sum{};
    for (int i = 0; i < count; ++i) {
        add_frame(sum, in[i], samples);
    }
    for (int i = 0; i < samples; ++i) {
        out[i] = saturated(out[i] + sum[i]);
    }
}

void add_frame(frame_sum& sum, const short* in, int samples) {
    for (int i = 0; i < samples; ++i) {
        sum[i] += in[i];
    }
}

void mix_sum_without(short* out, const frame_sum& sum, const short* own, int samples) {
    for (int i = 0; i < samples; ++i) {
        out[i] = saturated(out[i] + sum[i] - own[i]);
    }
}

} // namespace vocalink
