// SPDX-License-Identifier: GPL-3.0-or-later
// G.711, µ-law and A-law, as a row of the codecs.
#pragma once

#include "audio/codec.hpp"

namespace vocalink {

[[nodiscard]] codec_decoder_ptr make_ulaw_decoder();
[[nodiscard]] codec_encoder_ptr make_ulaw_encoder();
[[nodiscard]] codec_decoder_ptr make_alaw_decoder();
[[nodiscard]] codec_encoder_ptr make_alaw_encoder();

} // namespace vocalink
