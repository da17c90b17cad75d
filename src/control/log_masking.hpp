// SPDX-License-Identifier: GPL-3.0-or-later
// Keeping key material out of the log.
#pragma once

#include "control/command_words.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace vocalink {

/** Decides which words of a command may be keys, and hides them in what is logged of the command.
 *  Cost is linear in the length of the line. Hidden are:
 *  - all words behind a secret feature, or behind a feature that does not exist, and the latter;
 *  - in a command that is unknown or malformed, each word with as many characters as a key, all
 *    words behind the name of a secret feature, and a long first word (the tail of a split line);
 *  - in any other command that mentions a secret feature, each word with as many characters as a
 *    key: an open quote may have swallowed the keys. */
class log_mask {
  public:
    explicit log_mask(const word_list& words);

    /** The command as it may be logged: as received, unless there is something to hide. */
    [[nodiscard]] std::string line(const std::string& received) const;
    /** Whether a word of the command is hidden, so that a reply that repeats it must not be logged. */
    [[nodiscard]] bool hides(std::string_view word) const;
    /** A reply as it may be logged. */
    [[nodiscard]] std::string reply(const std::string& text) const;

  private:
    std::vector<std::string> hidden_words;
    std::string masked_line;
};

} // namespace vocalink
