// SPDX-License-Identifier: GPL-3.0-or-later
// Command lines as whole chunks of what the socket gives.
#include "control/chunk_framing.hpp"

#include <algorithm>

namespace vocalink {

void chunk_framing::take(std::string_view received) {
    chunk = received;
    length = std::min(chunk.find('\0'), chunk.size() - 1);
    position = 0;
}

std::optional<command_line> chunk_framing::next_line() {
    const std::string_view lines(chunk.data(), length);
    const std::size_t begin = lines.find_first_not_of('\n', position);
    if (begin == std::string_view::npos) {
        chunk.clear();
        chunk.shrink_to_fit();
        length = position = 0;
        return std::nullopt;
    }
    position = std::min(lines.find('\n', begin), length);
    return command_line{.text = std::string(lines.substr(begin, position - begin))};
}

std::string chunk_framing::rest() const {
    return chunk.substr(std::min(position + 1, chunk.size()));
}

} // namespace vocalink
