// SPDX-License-Identifier: GPL-3.0-or-later
// Refusals in the log, few lines for many.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace vocalink::dialin {

/** Strangers may ask at any rate: a reason is logged at most once in ten seconds, with how many of
 *  its kind came since. */
class refusal_log {
  public:
    /** @param reason  one of a few fixed texts */
    void note(int status, std::string_view reason);

  private:
    struct kind {
        std::chrono::steady_clock::time_point logged;
        std::uint64_t unlogged = 0;
    };
    std::map<std::string, kind, std::less<>> kinds;
};

} // namespace vocalink::dialin
