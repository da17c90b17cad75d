// SPDX-License-Identifier: GPL-3.0-or-later
// Keeping key material out of the log.
#pragma once

#include "control/command_words.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace vocalink {

/** Hides the words of a command that may be keys when the command is logged. The cost is linear in
 *  the length of the line. It hides:
 *  - all words after a secret feature;
 *  - an unknown feature and all words after it;
 *  - in an unknown or malformed command, each word as long as a key, all words after the name of a
 *    secret feature, and a long first word, which may be the tail of a split line;
 *  - in any other command that mentions a secret feature, each word as long as a key, because an
 *    open quote may have swallowed the keys. */
class log_mask {
  public:
    explicit log_mask(const word_list& words);

    /** The command for the log: as received, with the hidden words masked. */
    [[nodiscard]] std::string line(const std::string& received) const;
    /** Whether the word is hidden, so that the log must not show a reply that repeats it. */
    [[nodiscard]] bool hides(std::string_view word) const;
    /** The reply for the log. */
    [[nodiscard]] std::string reply(const std::string& text) const;

  private:
    std::vector<std::string> hidden_words;
    std::string masked_line;
};

} // namespace vocalink
