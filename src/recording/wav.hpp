// SPDX-License-Identifier: GPL-3.0-or-later
// The header of WAV recordings.
#pragma once

#include <cstdint>
#include <string>

namespace vocalink {

/** The 44 bytes before the samples: RIFF, 16-bit PCM, 8 kHz, mono, little-endian. A file beyond the
 *  4 GiB of the format (74 hours) says the most that it can.
 *  @param sample_bytes  what follows the header */
[[nodiscard]] std::string wav_header(std::uint64_t sample_bytes);

} // namespace vocalink
