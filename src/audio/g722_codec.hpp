// SPDX-License-Identifier: GPL-3.0-or-later
// G.722 at 64 kbit/s and 8 kHz as a row of the codecs.
#pragma once

#include "audio/codec.hpp"

namespace vocalink {

/** @return null when no state can be made */
[[nodiscard]] codec_decoder_ptr make_g722_decoder();
[[nodiscard]] codec_encoder_ptr make_g722_encoder();

} // namespace vocalink
