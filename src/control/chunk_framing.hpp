// SPDX-License-Identifier: GPL-3.0-or-later
// Command lines as whole chunks of what the socket gives.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vocalink {

/** Clients send whole lines: the last byte of each read is taken for the newline, whatever it is, a
 *  NUL ends what was read, and nothing is kept from one read to the next. */
class chunk_framing {
  public:
    /** Takes what one read gave, at least a byte, when next_line() has no more of the one before. */
    void take(std::string_view received);
    /** The next line that is not empty, if there is one. */
    [[nodiscard]] std::optional<std::string> next_line();

  private:
    std::string chunk;
    std::size_t position = 0; // of the first byte that is not in a line yet
};

} // namespace vocalink
