// SPDX-License-Identifier: GPL-3.0-or-later
// Refusals in the log, few lines for many.
#include "refusal_log.hpp"

#include "log_line.hpp"

#include <utility>

namespace vocalink::dialin {

void refusal_log::note(int status, std::string_view reason) {
    constexpr std::chrono::seconds pause{10};
    const auto now = std::chrono::steady_clock::now();
    const auto [entry, is_new] = kinds.try_emplace(std::string(reason));
    kind& seen = entry->second;
    if (!is_new && now - seen.logged < pause) {
        ++seen.unlogged;
        return;
    }
    seen.logged = now;
    log_line("dialin") << "a call is refused with " << status << ": " << reason << ", after "
                       << std::exchange(seen.unlogged, 0) << " unlogged ones";
}

} // namespace vocalink::dialin
