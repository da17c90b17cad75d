// SPDX-License-Identifier: GPL-3.0-or-later
// Keeping key material out of the log.
#include "control/log_masking.hpp"

#include <algorithm>
#include <array>
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

template <std::size_t Count>
bool contains(const std::array<std::string_view, Count>& words, std::string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool is_command(std::string_view word) {
    static constexpr std::array<std::string_view, 12> commands = {
        "new",  "delete", "join", "leave",     "clear",   "set",
        "list", "show",   "play", "recording", "recover", "queue_count"};
    return contains(commands, word);
}

bool is_plain_feature(std::string_view feature) {
    static constexpr std::array<std::string_view, 5> features = {"targets", "restricted", "sources",
                                                                 "selective", "endpoint"};
    return contains(features, feature);
}

bool has_key_length(std::string_view word) {
    return word.size() == raw_key_length || word.size() == base64_key_length;
}

bool mentions_encryption(const std::deque<std::string>& words) {
    return std::any_of(words.begin(), words.end(), [](const std::string& word) {
        return strcasestr(word.c_str(), "encryption") != nullptr;
    });
}

/** Whether the command is one that sets a feature, in its proper form as far as the feature. */
bool names_feature(const std::deque<std::string>& words) {
    return words.size() > feature_place && (words[0] == "set" || words[0] == "clear") &&
           words[1] == "stream";
}

/** Whether the word at that place is to be hidden. */
bool is_secret(const std::deque<std::string>& words, std::size_t place) {
    const std::string& word = words[place];
    const bool known = is_command(words[0]);
    if (place == 0) {
        return !known && word.size() > longest_slip;
    }
    if (names_feature(words) && place >= feature_place && !is_plain_feature(words[feature_place])) {
        return place > feature_place || word != "encryption";
    }
    const bool feature_command = words[0] == "set" || words[0] == "clear";
    const bool in_order = known && (!feature_command || names_feature(words));
    return has_key_length(word) && (!in_order || mentions_encryption(words));
}

} // namespace

log_mask::log_mask(const std::deque<std::string>& words) {
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
