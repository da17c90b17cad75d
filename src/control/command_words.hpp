// SPDX-License-Identifier: GPL-3.0-or-later
// What the command handlers share: taking words, and the replies to wrong ids.
#pragma once

#include "base/exceptions.hpp"

#include <cstdlib>
#include <deque>
#include <string>
#include <utility>

namespace vocalink {

/** The words of a command; handlers take them from the front. */
using word_list = std::deque<std::string>;

// Well-formed commands that name a wrong id are answered like this, without an exception.
inline constexpr const char* no_such_stream = "ERROR can't find stream";
inline constexpr const char* no_such_bridge = "ERROR can't find bridge";

/** When a command needed more memory than there is. */
inline constexpr const char* out_of_memory = "ERROR COMMAND_ERROR out of memory";

/** Removes and returns the first word; there must be one. */
[[nodiscard]] inline std::string take_word(word_list& words) {
    std::string word = std::move(words.front());
    words.pop_front();
    return word;
}

/** The port of a far end; what is no number counts as 0.
 *  @throws stream_exception for a number that is no port */
[[nodiscard]] inline int endpoint_port(const std::string& word) {
    const long port = std::strtol(word.c_str(), nullptr, 10);
    if (port < 0 || port > 65535) {
        throw stream_exception("invalid endpoint");
    }
    return static_cast<int>(port);
}

} // namespace vocalink
