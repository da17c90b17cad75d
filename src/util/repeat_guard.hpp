// SPDX-License-Identifier: GPL-3.0-or-later
// Counting of failures that can repeat with every packet.
#pragma once

namespace vocalink::util {

/** Counts occurrences and tells the first, which is the one that gets a log line. */
class repeat_guard {
  public:
    /** Counts one more. @return whether it is the first */
    [[nodiscard]] bool first() { return ++count == 1; }

    /** Occurrences after the first: those that were not logged. */
    [[nodiscard]] int suppressed() const { return count > 1 ? count - 1 : 0; }

  private:
    int count = 0;
};

} // namespace vocalink::util
