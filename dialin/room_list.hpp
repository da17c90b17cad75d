// SPDX-License-Identifier: GPL-3.0-or-later
// Which rooms there are and which of them ask for a PIN.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace vocalink::dialin {

/** Digits of the longest PIN. */
inline constexpr std::size_t longest_pin = 32;

/** 1 to 64 letters, digits, '-', '_', '.', '+'. */
[[nodiscard]] bool is_room_name(std::string_view name);

/** The rooms of a file, or every well-formed name when there is no file. */
class room_list {
  public:
    /** Any room, without PIN. */
    room_list() = default;
    /** One room a line, optionally with its PIN; empty lines and those that begin with # are
     *  skipped. @throws std::runtime_error naming file and line that cannot be read */
    explicit room_list(const std::string& file);

    /** The PIN of a room, empty when it has none; nothing when there is no such room. */
    [[nodiscard]] std::optional<std::string> find(std::string_view name) const;

  private:
    bool any = true;
    std::map<std::string, std::string, std::less<>> pins; ///< by room
};

} // namespace vocalink::dialin
