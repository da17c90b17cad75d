// SPDX-License-Identifier: GPL-3.0-or-later
// Splitting, trimming and formatting of text; the tokeniser of the control protocol.
#include "util/text.hpp"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace vocalink::util {

void parse_args(std::string_view line, std::deque<std::string>& out, char stop) {
    bool escaped = false;
    bool quoted = false;
    std::string word;
    for (const char c : line) {
        if (escaped) {
            word += c;
            escaped = false;
        } else if (stop != '\0' && c == stop) {
            break;
        } else if (c == '\\') {
            escaped = true;
        } else if (c == '"') {
            quoted = !quoted;
        } else if (c == ' ' && !quoted) {
            if (!word.empty()) {
                out.push_back(std::move(word));
                word.clear();
            }
        } else {
            word += c;
        }
    }
    if (!word.empty()) {
        out.push_back(std::move(word));
    }
}

std::vector<std::string> split(const char* text, char sep) {
    std::vector<std::string> pieces;
    std::string piece;
    for (; *text != '\0'; ++text) {
        if (*text == sep) {
            pieces.push_back(std::move(piece));
            piece.clear();
        } else {
            piece += *text;
        }
    }
    if (!piece.empty()) {
        pieces.push_back(std::move(piece));
    }
    return pieces;
}

std::string join(const std::vector<std::string>& parts, char sep) {
    std::string joined;
    for (const std::string& part : parts) {
        if (&part != &parts.front()) {
            joined += sep;
        }
        joined += part;
    }
    return joined;
}

std::string& strip(std::string& s, char c) {
    s.erase(0, s.find_first_not_of(c));
    s.erase(s.find_last_not_of(c) + 1);
    return s;
}

void trim(std::string& s) {
    strip(s, ' ');
}

std::map<int, std::string> splitTagValue(const char* text, char sep) {
    std::map<int, std::string> values;
    for (const std::string& piece : split(text, sep)) {
        const auto equals = piece.find('=');
        if (equals == std::string::npos) {
            throw std::exception();
        }
        values[std::atoi(piece.c_str())] = piece.substr(equals + 1);
    }
    return values;
}

std::string util_basename(const char* path) {
    const std::vector<std::string> pieces = split(path, '/');
    return pieces.empty() ? std::string() : pieces.back();
}

std::string escape(const std::string& text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        if (c == ',' || c == '(' || c == ')') {
            escaped += '\\';
        }
        escaped += c;
    }
    return escaped;
}

std::string format(const char* pattern, ...) {
    std::array<char, 1024> buffer{};
    va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(buffer.data(), buffer.size(), pattern, arguments); // NOLINT: va_start is above
    va_end(arguments);
    return buffer.data();
}

} // namespace vocalink::util
