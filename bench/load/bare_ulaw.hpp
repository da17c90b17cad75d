// SPDX-License-Identifier: GPL-3.0-or-later
// µ-law for the bare mixing loop; shares no code with what it is compared to.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vocalink::bench {

void ulaw_decode(const std::uint8_t* in, std::int16_t* out, std::size_t samples);
void ulaw_encode(const std::int16_t* in, std::uint8_t* out, std::size_t samples);

} // namespace vocalink::bench
