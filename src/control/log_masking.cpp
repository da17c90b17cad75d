// SPDX-License-Identifier: GPL-3.0-or-later
// Keeping key material out of the log.
#include "control/log_masking.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace vocalink {

namespace {

constexpr const char* hidden = "****";
constexpr std::size_t raw_key_length = 30;
constexpr std::size_t base64_key_length = 40;

template <std::size_t Count>
bool contains(const std::array<std::string_view, Count>& words, std::string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

/** Commands whose words are ids, paths and the like. */
bool takes_no_keys(std::string_view command) {
    static constexpr std::array<std::string_view, 10> commands = {
        "new",  "delete", "join",    "leave",       "recording",
        "list", "show",   "recover", "queue_count", "play"};
    return contains(commands, command);
}

bool is_plain_feature(std::string_view feature) {
    static constexpr std::array<std::string_view, 5> features = {"targets", "restricted", "sources",
                                                                 "selective", "endpoint"};
    return contains(features, feature);
}

bool has_key_length(std::string_view word) {
    return word.size() == raw_key_length || word.size() == base64_key_length;
}

/** Whether the word at that place is to be hidden. */
bool is_secret(const std::deque<std::string>& words, std::size_t place) {
    constexpr std::size_t feature_place = 3;
    if (takes_no_keys(words[0])) {
        return false;
    }
    if (words[0] != "set" && words[0] != "clear") {
        return has_key_length(words[place]);
    }
    if (place < feature_place || is_plain_feature(words[feature_place])) {
        return false;
    }
    return place > feature_place || words[place] != "encryption";
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
