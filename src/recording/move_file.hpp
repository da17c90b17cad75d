// SPDX-License-Identifier: GPL-3.0-or-later
// Moving a file so that it is whole wherever it has a name.
#pragma once

#include <string>

namespace vocalink {

/** Moves a file, unless something has its new name already: that is never overwritten. Within one
 *  file system it is renamed. Across two, /bin/mv copies it to a hidden name beside the new one,
 *  which it gets when it is whole; on failure it stays where it was. mv gets its paths as arguments,
 *  never seen by a shell, and an interrupt typed at the daemon's terminal does not reach it. Any
 *  thread but the loop's.
 *  @return 0 or the error number; also 0 when mv failed, which then has said why on standard error */
[[nodiscard]] int move_file(const std::string& source, const std::string& destination);

} // namespace vocalink
