// SPDX-License-Identifier: GPL-3.0-or-later
// Keeping key material out of the log.
#include "control/log_masking.hpp"

#include "control/commands.hpp"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace vocalink {

namespace {

constexpr const char* hidden = "****";
constexpr std::size_t raw_key_length = 30;
constexpr std::size_t base64_key_length = 40;
constexpr std::size_t feature_place = 3;

// A mistyped command word is hardly longer; a longer one may be what a cut line left of a key.
constexpr std::size_t longest_slip = 15;

bool has_key_length(std::string_view word) {
    return word.size() == raw_key_length || word.size() == base64_key_length;
}

bool mentions_encryption(const word_list& words) {
    return std::any_of(words.begin(), words.end(), [](const std::string& word) {
        return strcasestr(word.c_str(), "encryption") != nullptr;
    });
}

/** Whether the command is one that changes a feature, in its proper form as far as the feature. */
bool names_feature(const command& row, const word_list& words) {
    return row.features != nullptr && words.size() > feature_place && words[1] == "stream";
}

bool is_plain_feature(const command& row, std::string_view word) {
    const auto features = row.features();
    return std::any_of(features.begin(), features.end(), [word](const feature& known) {
        return known.word == word && !known.secret;
    });
}

/** Whether the word at that place is to be hidden. */
bool is_secret(const word_list& words, std::size_t place) {
    const std::string& word = words[place];
    const command* const row = find_command(words[0]);
    if (place == 0) {
        return row == nullptr && word.size() > longest_slip;
    }
    const bool feature_named = row != nullptr && names_feature(*row, words);
    if (feature_named && place >= feature_place && !is_plain_feature(*row, words[feature_place])) {
        return place > feature_place || word != "encryption";
    }
    const bool in_order = row != nullptr && (row->features == nullptr || feature_named);
    return has_key_length(word) && (!in_order || mentions_encryption(words));
}

} // namespace

log_mask::log_mask(const word_list& words) {
    for (std::size_t place = 0; place < words.size(); ++place) {
        masked_line += place == 0 ? "" : " ";
        if (is_secret(words, place)) {
            secrets.push_back(words[place]);
            masked_line += hidden;
        } else {
            masked_line += words[place];
        }
    }
}

std::string log_mask::line(const char* received) const {
    return secrets.empty() ? received : masked_line;
}

std::string log_mask::text(const std::string& reply) const {
    std::string masked = reply;
    for (const std::string& secret : secrets) {
        for (auto at = masked.find(secret); at != std::string::npos;
             at = masked.find(secret, at + std::string_view(hidden).size())) {
            masked.replace(at, secret.size(), hidden);
        }
    }
    return masked;
}

} // namespace vocalink
