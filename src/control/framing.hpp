// SPDX-License-Identifier: GPL-3.0-or-later
// How the bytes that a controller sends become command lines.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vocalink {

/** A command as it was framed. */
struct command_line {
    std::string text;      // without line end
    std::string tag{};     // begins the reply, with its blank; empty for none
    bool too_long = false; // to be refused; text is a part of it then
};

/** A policy of framing. A connection has one, and a command may change it. Loop thread only. */
class framing {
  public:
    virtual ~framing() = default;

    /** Takes what one read gave, at least a byte, when next_line() has nothing left. */
    virtual void take(std::string_view received) = 0;
    /** The next line that is not empty; nothing until more is taken. */
    [[nodiscard]] virtual std::optional<command_line> next_line() = 0;
    /** What is behind the line given last, for the policy that follows. */
    [[nodiscard]] virtual std::string rest() const = 0;
};

} // namespace vocalink
