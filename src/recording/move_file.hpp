// SPDX-License-Identifier: GPL-3.0-or-later
// Moving a file with the system's own command.
#pragma once

#include <string>

namespace vocalink {

/** Runs /bin/mv on two paths, each an argument of its own and never seen by a shell, and waits for
 *  it. The signal handling of this process stays untouched, and an interrupt typed at its terminal
 *  does not reach the command. Any thread but the loop's.
 *  @return 0, whatever mv's exit status, or the error number when it could not be run */
[[nodiscard]] int move_file(const std::string& source, const std::string& destination);

} // namespace vocalink
