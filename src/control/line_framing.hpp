// SPDX-License-Identifier: GPL-3.0-or-later
// Command lines as in any text protocol, and such lines with tags.
#pragma once

#include "control/framing.hpp"

#include <cstddef>

namespace vocalink {

/** Lines end in LF or CR LF, come in any pieces, and hold any other byte. One of more than 1 MiB, or
 *  of more blanks than a command's words are, is too long: its end is skipped. */
class line_framing : public framing {
  public:
    void take(std::string_view received) override;
    [[nodiscard]] std::optional<command_line> next_line() override;
    [[nodiscard]] std::string rest() const override;

    static constexpr std::size_t longest_line = 1'048'576;
    // As many as fit in a chunk of the other framing: more words keep the loop too long.
    static constexpr std::ptrdiff_t most_blanks = 8192;

  private:
    std::optional<std::string> cut_line();

    std::string received_bytes;
    std::size_t position = 0; // behind the line given last
    std::size_t searched = 0; // there is no newline between position and here
    bool skipping = false;    // the end of a line that was too long
};

/** The same, where a line may begin with "#TAG ", which then begins its reply too. */
class tagged_line_framing : public line_framing {
  public:
    [[nodiscard]] std::optional<command_line> next_line() override;
};

} // namespace vocalink
