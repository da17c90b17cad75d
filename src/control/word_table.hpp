// SPDX-License-Identifier: GPL-3.0-or-later
// Tables whose rows are found by a word that a controller typed.
#pragma once

#include "base/exceptions.hpp"
#include "util/text.hpp"

#include <string>

namespace vocalink {

/** A word that is not in its table. The log may have to hide it, where it is a misplaced key. */
struct unknown_word : command_exception {
    /** "WHAT 'word'REST" */
    unknown_word(const std::string& what, const std::string& typed, const std::string& rest = {})
        : command_exception(text(what, typed, rest)), word(typed),
          masked(text(what, "****", rest)) {}

    std::string word;
    std::string masked; // the message without the word

  private:
    static std::string text(const std::string& what, const std::string& typed,
                            const std::string& rest) {
        return util::format("%s '%s'%s", what.c_str(), typed.c_str(), rest.c_str());
    }
};

/** How the error for a word without row reads: "WHAT 'word', LIST_INTRO first, second". */
struct unknown_word_text {
    const char* what;
    const char* list_intro;
    const char* separator; // between the words of the list
};

/** The row of that word. A row has a word, and says whether the error text lists it.
 *  Deliberate: docs/behaviours.md#old-words-in-an-error
 *  @throws unknown_word that lists the words to choose from */
template <class Table>
[[nodiscard]] const auto& row_of(const Table& table, const std::string& word,
                                 const unknown_word_text& text) {
    std::string list;
    for (const auto& row : table) {
        if (row.word == word) {
            return row;
        }
        if (row.listed) {
            list.append(list.empty() ? "" : text.separator).append(row.word);
        }
    }
    throw command_exception(
        util::format("%s '%s', %s%s", text.what, word.c_str(), text.list_intro, list.c_str()));
}

} // namespace vocalink
