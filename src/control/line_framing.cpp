// SPDX-License-Identifier: GPL-3.0-or-later
// Command lines as in any text protocol, and such lines with tags.
#include "control/line_framing.hpp"

#include <algorithm>
#include <utility>

namespace vocalink {

namespace {

constexpr std::size_t logged_bytes = 100; // of a line that is refused

command_line too_long(const std::string& line) {
    return {.text = line.substr(0, logged_bytes), .too_long = true};
}

} // namespace

void line_framing::take(std::string_view received) {
    received_bytes.erase(0, position);
    searched -= std::exchange(position, 0);
    received_bytes += received;
}

std::optional<command_line> line_framing::next_line() {
    while (auto line = cut_line()) {
        if (std::exchange(skipping, false)) {
            continue;
        }
        if (line->ends_with('\r')) {
            line->pop_back();
        }
        if (line->size() > longest_line ||
            std::count(line->begin(), line->end(), ' ') > most_blanks) {
            return too_long(*line);
        }
        if (!line->empty()) {
            return command_line{.text = *std::move(line)};
        }
    }
    const std::size_t begun = received_bytes.size() - position;
    const bool over = begun > longest_line + 1; // a CR may be the last byte
    const bool refused = over && !skipping;
    const std::string part = refused ? rest() : "";
    if (over || skipping || begun == 0) {
        received_bytes.clear();
        received_bytes.shrink_to_fit();
        position = searched = 0;
    }
    skipping = skipping || over;
    return refused ? std::optional(too_long(part)) : std::nullopt;
}

std::string line_framing::rest() const {
    return received_bytes.substr(position);
}

/** @return the bytes before the next newline, once that has come */
std::optional<std::string> line_framing::cut_line() {
    const std::size_t end = received_bytes.find('\n', searched);
    if (end == std::string::npos) {
        searched = received_bytes.size();
        return std::nullopt;
    }
    std::string line = received_bytes.substr(position, end - position);
    position = searched = end + 1;
    return line;
}

std::optional<command_line> tagged_line_framing::next_line() {
    auto line = line_framing::next_line();
    if (line && line->text.starts_with('#')) {
        const std::size_t end = std::min(line->text.find(' '), line->text.size());
        line->tag = line->text.substr(0, end) + " ";
        line->text.erase(0, end + 1);
    }
    return line;
}

} // namespace vocalink
