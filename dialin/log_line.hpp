// SPDX-License-Identifier: GPL-3.0-or-later
// One line of the front end's log.
#pragma once

#include <concepts>
#include <string>
#include <string_view>

namespace vocalink::dialin {

/** Collects one line; the destructor writes it whole to standard error. A log that nobody reads
 *  must not keep telephones waiting: a line that does not fit is dropped, and the next that fits
 *  says how many were. One thread only. */
class log_line {
  public:
    /** "-- component: " */
    explicit log_line(std::string_view component) { *this << "-- " << component << ": "; }
    /** "-- component(id): " */
    log_line(std::string_view component, std::string_view id) {
        *this << "-- " << component << "(" << id << "): ";
    }
    log_line(const log_line&) = delete;
    log_line& operator=(const log_line&) = delete;
    ~log_line();

    log_line& operator<<(std::string_view piece) {
        text += piece;
        return *this;
    }
    log_line& operator<<(char c) {
        text += c;
        return *this;
    }
    log_line& operator<<(std::integral auto number) { return *this << std::to_string(number); }

  private:
    std::string text;
};

/** The text of a system error number. */
[[nodiscard]] std::string error_text(int error_number);

} // namespace vocalink::dialin
