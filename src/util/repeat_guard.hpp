// SPDX-License-Identifier: GPL-3.0-or-later
// Counting of events that can repeat with every packet.
#pragma once

namespace vocalink::util {

/** Counts occurrences and tells which of them get a log line: the first, or the first few. */
class repeat_guard {
  public:
    explicit repeat_guard(long long logged_at_most = 1) : limit(logged_at_most) {}

    /** Counts one more. @return whether it is to be logged */
    [[nodiscard]] bool admit() { return ++count <= limit; }

    /** Whether the one just counted is the last to be logged. */
    [[nodiscard]] bool at_limit() const { return count == limit; }

    [[nodiscard]] long long total() const { return count; }

    /** Occurrences that were not logged. */
    [[nodiscard]] long long suppressed() const { return count > limit ? count - limit : 0; }

  private:
    long long limit;
    long long count = 0;
};

} // namespace vocalink::util
