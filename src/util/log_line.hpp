// SPDX-License-Identifier: GPL-3.0-or-later
// One line of diagnostics, composed and handed on whole.
#pragma once

#include <concepts>
#include <string>
#include <string_view>

namespace vocalink::util {

/** Collects one line; the destructor hands it to write_log() with its newline, so that the lines of
 *  several threads never mix. Any thread. Never waits in the daemon, where a log_writer runs.
 *  Compose a line only when it is to be written. */
class log_line {
  public:
    /** A line without prefix. */
    log_line() = default;
    /** "-- component: " */
    explicit log_line(std::string_view component);
    /** "-- component(id): " */
    log_line(std::string_view component, std::string_view id);
    log_line(const log_line&) = delete;
    log_line& operator=(const log_line&) = delete;
    ~log_line();

    log_line& operator<<(std::string_view piece) {
        text += piece;
        return *this;
    }
    template <std::same_as<char> Char>
    log_line& operator<<(Char c) {
        text += c;
        return *this;
    }
    template <std::integral Number>
    requires(!std::same_as<Number, char>) log_line& operator<<(Number number) {
        text += std::to_string(number);
        return *this;
    }

  private:
    std::string text;
};

/** The text of a system error number; safe in any thread. */
[[nodiscard]] std::string error_text(int error_number);

} // namespace vocalink::util
