// SPDX-License-Identifier: GPL-3.0-or-later
// What is counted, and its file for a metrics collector.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace vocalink::dialin {

enum class event_kind {
    invited,
    answered,
    no_codec,
    no_daemon,
    no_room,
    foreign_body,
    no_description_wanted,
    left,
    hung_up
};

/** Totals since the start. */
class counters {
  public:
    void add(event_kind kind) { ++totals[static_cast<std::size_t>(kind)]; }
    [[nodiscard]] std::uint64_t total(event_kind kind) const {
        return totals[static_cast<std::size_t>(kind)];
    }

  private:
    std::array<std::uint64_t, 9> totals{};
};

/** What is so at the moment. */
struct gauges {
    bool daemon_up;
    std::size_t calls;
    std::size_t rooms;
};

/** Counters and gauges in the Prometheus text format.
 *  @param socket  of the daemon, a label of each sample, as in the daemon's own metrics */
[[nodiscard]] std::string metrics_text(const std::string& socket, const counters& totals,
                                       const gauges& now);

/** Replaces a file at once, so that a reader sees the old or the new one whole.
 *  @return false when the system refuses; errno has the reason */
[[nodiscard]] bool replace_file(const std::string& path, const std::string& text);

} // namespace vocalink::dialin
