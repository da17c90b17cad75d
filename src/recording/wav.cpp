// SPDX-License-Identifier: GPL-3.0-or-later
// The header of WAV recordings.
#include "recording/wav.hpp"

#include <algorithm>

namespace vocalink {

namespace {

constexpr std::uint32_t rate_hz = 8000;
constexpr std::uint32_t sample_bytes_each = 2;
constexpr std::uint32_t bytes_after_riff_size = 36; // and before the samples

void put(std::string& header, std::uint32_t value, int bytes) {
    for (; bytes > 0; --bytes, value >>= 8) {
        header += static_cast<char>(value & 0xFF);
    }
}

} // namespace

std::string wav_header(std::uint64_t sample_bytes) {
    constexpr std::uint64_t most = 0xFFFFFFFF - bytes_after_riff_size - 1; // an even number
    const auto data_bytes = static_cast<std::uint32_t>(std::min(sample_bytes, most));
    std::string header = "RIFF";
    put(header, bytes_after_riff_size + data_bytes, 4);
    header += "WAVEfmt ";
    put(header, 16, 4); // bytes of the format
    put(header, 1, 2);  // PCM
    put(header, 1, 2);  // channel
    put(header, rate_hz, 4);
    put(header, rate_hz * sample_bytes_each, 4);
    put(header, sample_bytes_each, 2);
    put(header, 8 * sample_bytes_each, 2);
    header += "data";
    put(header, data_bytes, 4);
    return header;
}

} // namespace vocalink
