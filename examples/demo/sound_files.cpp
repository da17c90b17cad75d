// SPDX-License-Identifier: GPL-3.0-or-later
// Reading mu-law files and writing WAV files.
#include "codec.hpp"
#include "sound.hpp"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace vocalink::demo {

sound read_ulaw_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    sound samples;
    std::transform(std::istreambuf_iterator<char>(file), {}, std::back_inserter(samples),
                   [](char byte) { return linear_of_ulaw(static_cast<std::uint8_t>(byte)); });
    if (samples.empty()) {
        throw std::runtime_error("no speech in " + path);
    }
    return samples;
}

void write_wav_file(const std::string& path, const sound& samples) {
    std::string bytes;
    const auto put = [&bytes](std::uint32_t value, int field_bytes) {
        for (; field_bytes > 0; --field_bytes, value >>= 8) {
            bytes.push_back(static_cast<char>(value & 0xFF));
        }
    };
    constexpr std::uint32_t sample_bytes = 2;
    constexpr std::uint32_t header_bytes = 36; // behind the first length field
    const auto data_bytes = static_cast<std::uint32_t>(samples.size() * sample_bytes);
    bytes += "RIFF";
    put(header_bytes + data_bytes, 4);
    bytes += "WAVEfmt ";
    put(16, 4); // length of what describes the format
    put(1, 2);  // linear samples
    put(1, 2);  // one channel
    put(sample_rate_hz, 4);
    put(sample_rate_hz * sample_bytes, 4);
    put(sample_bytes, 2);
    put(8 * sample_bytes, 2);
    bytes += "data";
    put(data_bytes, 4);
    for (const std::int16_t sample : samples) {
        put(static_cast<std::uint16_t>(sample), 2);
    }
    std::ofstream file(path, std::ios::binary);
    if (!file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

} // namespace vocalink::demo
