// SPDX-License-Identifier: GPL-3.0-or-later
// Splitting, trimming and formatting of text; the tokeniser of the control protocol.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vocalink::util {

/** Splits one command line into words and appends them to out.
 *
 *  Only the blank (0x20) separates words. Double quotes group and may start and end anywhere inside
 *  a word; a backslash makes the next byte literal. Empty words are never produced, so "" adds
 *  nothing. An unterminated quote runs to the end of the line, a trailing backslash is dropped.
 *  @param stop  byte at which the rest of the line is ignored, also inside quotes; NUL for none */
void parse_args(std::string_view line, std::deque<std::string>& out, char stop);

/** Cuts text at every sep. Leading and inner empty pieces are kept, a trailing empty one is not. */
[[nodiscard]] std::vector<std::string> split(const char* text, char sep);

/** The parts with sep between neighbours. */
[[nodiscard]] std::string join(const std::vector<std::string>& parts, char sep);

/** Removes every leading and trailing c in place; returns s. */
std::string& strip(std::string& s, char c);

/** Removes leading and trailing blanks (0x20 only) in place. */
void trim(std::string& s);

/** Reads "key=value" pieces separated by sep; keys are decimal numbers as atoi reads them, a later
 *  piece replaces an earlier one of the same key.
 *  @throws std::exception for a piece without '=' */
[[nodiscard]] std::map<int, std::string> splitTagValue(const char* text, char sep);

/** The last piece of a path, a trailing slash ignored; empty for "" and for "/". */
[[nodiscard]] std::string util_basename(const char* path);

/** A copy with a backslash before each ',', '(' and ')', for ids inside the lists of the protocol.
 */
[[nodiscard]] std::string escape(const std::string& text);

/** printf into a string, cut to 1023 bytes: messages repeat words of any length that a controller
 *  typed. */
[[nodiscard, gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...);

} // namespace vocalink::util
