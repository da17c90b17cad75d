// SPDX-License-Identifier: GPL-3.0-or-later
// What the command handlers share: taking words, and the replies to wrong ids.
#include "control/command_words.hpp"

#include "util/text.hpp"

#include <strings.h>

namespace vocalink {

std::string without_keys(const char* line) {
    std::deque<std::string> words;
    util::parse_args(line, words, '\0');
    // Spellings that the command would refuse are masked too: a key typed into them is still a key.
    if (words.empty() || strcasecmp(words.front().c_str(), "set") != 0) {
        return line;
    }
    bool masking = false;
    std::string masked;
    for (const std::string& word : words) {
        masked += masked.empty() ? "" : " ";
        masked += masking ? "****" : word;
        masking = masking || strcasecmp(word.c_str(), "encryption") == 0;
    }
    return masking ? masked : line;
}

} // namespace vocalink
