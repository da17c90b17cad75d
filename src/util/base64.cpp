// SPDX-License-Identifier: GPL-3.0-or-later
// Base64 (RFC 4648), for keys given as text.
#include "util/base64.hpp"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace vocalink {

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

} // namespace

bool is_base64(unsigned char c) {
    return alphabet.find(static_cast<char>(c)) != std::string_view::npos;
}

std::string base64_encode(const unsigned char* data, unsigned int len) {
    std::string text;
    for (unsigned int i = 0; i < len; i += 3) {
        const unsigned int bytes = std::min(3U, len - i);
        std::uint32_t group = 0;
        for (unsigned int k = 0; k < 3; ++k) {
            group = group << 8 | (k < bytes ? data[i + k] : 0U);
        }
        for (unsigned int k = 0; k < 4; ++k) {
            text += k <= bytes ? alphabet[group >> (18 - 6 * k) & 0x3F] : '=';
        }
    }
    return text;
}

std::string base64_decode(const std::string& text) {
    std::string bytes;
    std::uint32_t bits = 0;
    int held = 0; // bits not yet given out
    for (const char c : text) {
        if (!is_base64(static_cast<unsigned char>(c))) {
            break;
        }
        bits = bits << 6 | static_cast<std::uint32_t>(alphabet.find(c));
        held += 6;
        if (held >= 8) {
            held -= 8;
            bytes += static_cast<char>(bits >> held & 0xFF);
        }
    }
    return bytes;
}

} // namespace vocalink
