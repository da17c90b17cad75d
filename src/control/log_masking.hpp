// SPDX-License-Identifier: GPL-3.0-or-later
// Keeping key material out of the log.
#pragma once

#include <deque>
#include <string>
#include <vector>

namespace vocalink {

/** Knows which words of a command may be keys, and hides them in what is logged of it: whatever stands
 *  behind the feature of a set or clear command for encryption, or in the place of a feature that is
 *  none; every word as long as a key in a command that is not known, is out of form or speaks of
 *  encryption; and a command word too long to be a slip of the keyboard, as a cut line leaves. */
class log_mask {
  public:
    explicit log_mask(const std::deque<std::string>& words);

    /** The command line as it may be logged: as it is, unless there is something to hide. */
    [[nodiscard]] std::string line(const char* received) const;
    /** A reply as it may be logged. */
    [[nodiscard]] std::string text(const std::string& reply) const;

  private:
    std::vector<std::string> secrets;
    std::string masked_line;
};

} // namespace vocalink
