// SPDX-License-Identifier: GPL-3.0-or-later
// Keeping key material out of the log.
#include "control/log_masking.hpp"

#include "control/commands.hpp"

#include <algorithm>
#include <cctype>

namespace vocalink {

namespace {

constexpr const char* stars = "****";
constexpr std::size_t shortest_key = 30; // raw; 40 in base64
constexpr std::size_t feature_place = 3;

// Longest plausible typo of a command; anything longer may be the tail of a split key line.
constexpr std::size_t longest_typo = 15;

std::vector<std::string> secret_features() {
    std::vector<std::string> names;
    for (const command& row : command_table) {
        if (row.features == nullptr) {
            continue;
        }
        for (const feature& known : row.features()) {
            if (known.secret) {
                names.emplace_back(known.word);
            }
        }
    }
    return names;
}

/** The text from the name of a secret feature on, in upper or lower case.
 *  @return an empty view when it names none */
std::string_view from_secret(std::string_view text) {
    static const std::vector<std::string> names = secret_features();
    const auto same = [](unsigned char a, unsigned char b) { return std::tolower(a) == b; };
    for (const std::string& name : names) {
        const auto at = std::search(text.begin(), text.end(), name.begin(), name.end(), same);
        if (at != text.end()) {
            return text.substr(static_cast<std::size_t>(at - text.begin()));
        }
    }
    return {};
}

bool names_secret(const std::string& word) {
    return !from_secret(word).empty();
}

/** Whether the word is as long as a key, or continues after the name of a secret feature. */
bool may_hold_key(const std::string& word) {
    return word.size() >= shortest_key || from_secret(word).find(' ') != std::string_view::npos;
}

/** What the words of a command may hold. */
enum class contents {
    plain,    // well-formed, and not of a secret feature
    keys,     // of a secret feature
    unknown,  // of a feature that does not exist
    anything, // no known command, or malformed
};

contents contents_of(const word_list& words) {
    const command* const row = words.empty() ? nullptr : find_command(words[0]);
    if (row == nullptr) {
        return contents::anything;
    }
    if (row->features == nullptr) {
        return contents::plain;
    }
    if (words.size() <= feature_place || words[1] != "stream") {
        return contents::anything;
    }
    for (const feature& known : row->features()) {
        if (words[feature_place] == known.word) {
            return known.secret ? contents::keys : contents::plain;
        }
    }
    return contents::unknown;
}

/** Whether the word is hidden.
 *  @param secret_place  index of the first word that names a secret feature, or the word count */
bool is_hidden(contents holds, const word_list& words, std::size_t place,
               std::size_t secret_place) {
    const std::string& word = words[place];
    switch (holds) {
    case contents::plain:
        return secret_place < words.size() && may_hold_key(word);
    case contents::keys:
        return place > feature_place;
    case contents::unknown:
        return place >= feature_place;
    case contents::anything:
        return place > secret_place || may_hold_key(word) ||
               (place == 0 && word.size() > longest_typo);
    }
    return true;
}

} // namespace

log_mask::log_mask(const word_list& words) {
    const contents holds = contents_of(words);
    const auto secret = std::find_if(words.begin(), words.end(), names_secret);
    const auto secret_place = static_cast<std::size_t>(secret - words.begin());
    for (std::size_t place = 0; place < words.size(); ++place) {
        masked_line += place == 0 ? "" : " ";
        if (is_hidden(holds, words, place, secret_place)) {
            hidden_words.push_back(words[place]);
            masked_line += stars;
        } else {
            masked_line += words[place];
        }
    }
}

std::string log_mask::line(const std::string& received) const {
    return hidden_words.empty() ? received : masked_line;
}

bool log_mask::hides(std::string_view word) const {
    return std::find(hidden_words.begin(), hidden_words.end(), word) != hidden_words.end();
}

std::string log_mask::reply(const std::string& text) const {
    if (hidden_words.empty()) {
        return text;
    }
    std::string masked;
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::string_view word = rest.substr(0, rest.find(' '));
        masked += word.size() < shortest_key ? word : stars;
        rest.remove_prefix(word.size());
        const std::size_t blanks = std::min(rest.find_first_not_of(' '), rest.size());
        masked += rest.substr(0, blanks);
        rest.remove_prefix(blanks);
    }
    return masked;
}

} // namespace vocalink
