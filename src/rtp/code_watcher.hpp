// SPDX-License-Identifier: GPL-3.0-or-later
// The watcher for codes that a far end sends inside its packets.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace vocalink {

/** Finds the mark FE ED FA CE behind the fixed header of a packet, and collects one byte from the
 *  same place in each of the three packets that follow. Loop thread only. */
class code_watcher {
  public:
    using code = std::array<std::uint8_t, 3>;

    /** Takes the next packet. @return the code that this packet completes */
    [[nodiscard]] std::optional<code> take(const char* packet, int len);

  private:
    int missing = 0; // bytes of the code that is being collected
    code collected{};
};

} // namespace vocalink
