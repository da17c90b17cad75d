// SPDX-License-Identifier: GPL-3.0-or-later
// The watcher for codes that a far end sends inside its packets.
#include "rtp/code_watcher.hpp"

#include "rtp/rtp_packet.hpp"

#include <cstddef>
#include <cstring>

namespace vocalink {

namespace {

constexpr int code_offset = rtp_header_bytes; // Deliberate: docs/behaviours.md#code-offset
constexpr std::array<unsigned char, 4> mark = {0xFE, 0xED, 0xFA, 0xCE};

} // namespace

std::optional<code_watcher::code> code_watcher::take(const char* packet, int len) {
    std::optional<code> complete;
    if (missing > 0 && len > code_offset) {
        collected[collected.size() - static_cast<std::size_t>(missing)] =
            static_cast<std::uint8_t>(packet[code_offset]);
        missing -= 1;
        if (missing == 0) {
            complete = collected;
        }
    }
    if (len >= code_offset + static_cast<int>(mark.size()) &&
        std::memcmp(packet + code_offset, mark.data(), mark.size()) == 0) {
        missing = static_cast<int>(collected.size());
    }
    return complete;
}

} // namespace vocalink
