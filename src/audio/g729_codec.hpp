// SPDX-License-Identifier: GPL-3.0-or-later
// G.729 with the silence description of its Annex B as a row of the codecs.
#pragma once

#include "audio/codec.hpp"

namespace vocalink {

/** Bytes of a frame of speech, 10 ms. */
inline constexpr int g729_frame_bytes = 10;

/** A silence description stands in the place of a packet's last frame (RFC 3551 4.5.6). */
inline constexpr int g729_silence_description_bytes = 2;

/** @return null when no state can be made */
[[nodiscard]] codec_decoder_ptr make_g729_decoder();
[[nodiscard]] codec_encoder_ptr make_g729_encoder();

} // namespace vocalink
