// SPDX-License-Identifier: GPL-3.0-or-later
// Command lines as whole chunks of what the socket gives.
#pragma once

#include "control/framing.hpp"

namespace vocalink {

/** Clients send whole lines: the last byte of each read is taken for the newline, whatever it is, a
 *  NUL ends what was read, and nothing is kept from one read to the next. */
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
