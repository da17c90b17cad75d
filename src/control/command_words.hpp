// SPDX-License-Identifier: GPL-3.0-or-later
// What the command handlers share: taking words, and the replies to wrong ids.
#pragma once

#include <deque>
#include <string>
#include <utility>

namespace vocalink {

/** The words of a command; handlers take them from the front. */
using word_list = std::deque<std::string>;

// Well-formed commands that name a wrong id are answered like this, without an exception.
inline constexpr const char* no_such_stream = "ERROR can't find stream";
inline constexpr const char* no_such_bridge = "ERROR can't find bridge";

/** Removes and returns the first word; there must be one. */
[[nodiscard]] inline std::string take_word(word_list& words) {
    std::string word = std::move(words.front());
    words.pop_front();
    return word;
}

} // namespace vocalink
