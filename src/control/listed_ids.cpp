// SPDX-License-Identifier: GPL-3.0-or-later
// The ids in a daemon's listings.
#include "control/listed_ids.hpp"

namespace vocalink {

namespace {

/** Splits at the commas that stand neither in parentheses nor behind a backslash. */
std::vector<std::string_view> split_entries(std::string_view text) {
    std::vector<std::string_view> entries;
    std::size_t begin = 0;
    int depth = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\') {
            i += 1;
        } else if (text[i] == ',' && depth == 0) {
            entries.push_back(text.substr(begin, i - begin));
            begin = i + 1;
        } else {
            depth += text[i] == '(' ? 1 : text[i] == ')' ? -1 : 0;
        }
    }
    if (begin < text.size()) {
        entries.push_back(text.substr(begin));
    }
    return entries;
}

std::string without_escapes(std::string_view escaped) {
    std::string text;
    for (std::size_t i = 0; i < escaped.size(); ++i) {
        i += escaped[i] == '\\' && i + 1 < escaped.size() ? 1 : 0;
        text += escaped[i];
    }
    return text;
}

std::vector<std::string_view> entries_of(std::string_view reply) {
    constexpr std::string_view success = "SUCCESS ";
    return reply.starts_with(success) ? split_entries(reply.substr(success.size()))
                                      : std::vector<std::string_view>{};
}

} // namespace

std::vector<std::string> listed_stream_ids(std::string_view reply) {
    std::vector<std::string> ids;
    for (std::string_view entry : entries_of(reply)) {
        if (!entry.starts_with('(')) {
            continue;
        }
        entry.remove_prefix(1);
        if (const auto fields = split_entries(entry); fields.size() > 1) {
            ids.push_back(without_escapes(fields.front()));
        }
    }
    return ids;
}

std::vector<std::string> listed_bridge_ids(std::string_view reply) {
    std::vector<std::string> ids;
    for (const std::string_view entry : entries_of(reply)) {
        if (!entry.starts_with('(')) {
            ids.push_back(without_escapes(entry));
        }
    }
    return ids;
}

} // namespace vocalink
