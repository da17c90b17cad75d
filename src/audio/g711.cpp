// SPDX-License-Identifier: GPL-3.0-or-later
// G.711 conversion, µ-law and A-law.
#include "audio/g711.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace vocalink {

namespace {

// µ-law is a small floating-point format: a sign, three bits of exponent and four of mantissa, over
// a magnitude offset by 132. The bits therefore stand ready-made in the IEEE single of the biased
// magnitude (132 to 32767, so exact): exponent and mantissa are its bits 19 to 26, once the
// exponent of 128 is taken off. That is a conversion and a shift per sample, without a table or a
// branch, so that the compiler can do several samples at once.
constexpr int bias = 132;
constexpr int clip = 32635;
constexpr int mantissa_shift = 19;
constexpr std::int32_t exponent_base = (127 + 7)
                                       << 4; // exponent of 128.0, above four mantissa bits
constexpr std::int32_t alaw_inversion = 0x55;

} // namespace

void linear2ulaw(const short* in, char* out, int samples) {
    for (int i = 0; i < samples; ++i) {
        const std::int32_t sample = in[i];
        const std::int32_t sign = sample < 0 ? 0x80 : 0;
        const std::int32_t magnitude = std::min(sample < 0 ? -sample : sample, clip) + bias;
        const auto bits = std::bit_cast<std::int32_t>(static_cast<float>(magnitude));
        const std::int32_t code = (bits >> mantissa_shift) - exponent_base;
        const std::int32_t byte = ~(sign | code) & 0xFF;
        out[i] = static_cast<char>(byte == 0 ? 0x02 : byte);
    }
}

void ulaw2linear(const char* in, short* out, int samples) {
    for (int i = 0; i < samples; ++i) {
        const std::int32_t code = ~in[i] & 0xFF;
        // The bit below the mantissa is half a step: the value in the middle of the interval.
        const std::int32_t bits =
            (((code & 0x7F) + exponent_base) << mantissa_shift) | (1 << (mantissa_shift - 1));
        const std::int32_t magnitude = static_cast<std::int32_t>(std::bit_cast<float>(bits)) - bias;
        out[i] = static_cast<short>((code & 0x80) != 0 ? -magnitude : magnitude);
    }
}

// A-law is the same small floating-point format without the offset, but magnitudes below 256 count
// in steps of 16. Even bits are sent inverted, and the sign bit means positive.
void linear2alaw(const short* in, char* out, int samples) {
    for (int i = 0; i < samples; ++i) {
        const std::int32_t sample = in[i];
        const std::int32_t sign = sample < 0 ? 0 : 0x80;
        const std::int32_t magnitude = sample < 0 ? ~sample : sample;
        const auto bits = std::bit_cast<std::int32_t>(static_cast<float>(magnitude));
        const std::int32_t code =
            magnitude < 256 ? magnitude >> 4 : (bits >> mantissa_shift) - exponent_base;
        out[i] = static_cast<char>((sign | code) ^ alaw_inversion);
    }
}

void alaw2linear(const char* in, short* out, int samples) {
    for (int i = 0; i < samples; ++i) {
        const std::int32_t code = (in[i] ^ alaw_inversion) & 0xFF;
        const std::int32_t exponent = (code >> 4) & 0x7;
        const std::int32_t step = ((code & 0xF) << 4) + 8;
        const std::int32_t magnitude = exponent == 0 ? step : (step + 256) << (exponent - 1);
        out[i] = static_cast<short>((code & 0x80) != 0 ? magnitude : -magnitude);
    }
}

} // namespace vocalink
