// SPDX-License-Identifier: GPL-3.0-or-later
// Moving a file so that it is whole wherever it has a name.
#pragma once

#include <string>

namespace vocalink {

/** Moves a file and never overwrites another. Within one file system it renames the file. Across
 *  two, /bin/mv copies it to a hidden directory beside the new name, and the whole copy is then renamed.
 *  On failure the file stays where it was. No shell sees the paths, and an interrupt typed at the
 *  daemon's terminal does not reach mv. Any thread but the loop's.
 *  @return 0 or the error number; 0 also when mv failed, which then logs why on standard error */
[[nodiscard]] int move_file(const std::string& source, const std::string& destination);

} // namespace vocalink
