// SPDX-License-Identifier: GPL-3.0-or-later
// Command lines as whole chunks of what the socket gives.
#include "control/chunk_framing.hpp"

#include <algorithm>

namespace vocalink {

void chunk_framing::take(std::string_view received) {
    received.remove_suffix(1);
    chunk = received.substr(0, received.find('\0'));
    position = 0;
}

std::optional<std::string> chunk_framing::next_line() {
    const std::size_t begin = chunk.find_first_not_of('\n', position);
    if (begin == std::string::npos) {
        chunk.clear();
        chunk.shrink_to_fit();
        position = 0;
        return std::nullopt;
    }
    const std::size_t end = std::min(chunk.find('\n', begin), chunk.size());
    position = end;
    return chunk.substr(begin, end - begin);
}

} // namespace vocalink
