// SPDX-License-Identifier: GPL-3.0-or-later
// iLBC, in frames of 20 and 30 ms, as a row of the codecs.
#pragma once

#include "audio/codec.hpp"

namespace vocalink {

/** @return null when no state can be made */
[[nodiscard]] codec_decoder_ptr make_ilbc20_decoder();
[[nodiscard]] codec_encoder_ptr make_ilbc20_encoder();
[[nodiscard]] codec_decoder_ptr make_ilbc30_decoder();
[[nodiscard]] codec_encoder_ptr make_ilbc30_encoder();

} // namespace vocalink
