// SPDX-License-Identifier: GPL-3.0-or-later
// Command lines as whole chunks of what the socket gives.
#pragma once

#include "control/framing.hpp"

namespace vocalink {

/** Cuts each read into lines by itself: the last byte counts as a newline, a NUL ends the read, and
 *  the next read starts with nothing. Deliberate: docs/behaviours.md#whole-lines */
class chunk_framing : public framing {
  public:
    void take(std::string_view received) override;
    [[nodiscard]] std::optional<command_line> next_line() override;
    [[nodiscard]] std::string rest() const override;

  private:
    std::string chunk;        // as received
    std::size_t length = 0;   // of its lines
    std::size_t position = 0; // behind the line given last
};

} // namespace vocalink
