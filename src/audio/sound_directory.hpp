// SPDX-License-Identifier: GPL-3.0-or-later
// Where sound files may come from.
#pragma once

#include "util/unique_fd.hpp"

#include <string>

namespace vocalink {

/** Opens a controller's sound file for reading, without waiting for a device or a pipe. With option
 *  -S only files below that directory can be opened; links and ".." do not lead out of it. Names are
 *  relative to the directory or begin with it. Any thread.
 *  @return none with errno when it cannot be opened or does not lie there */
[[nodiscard]] util::unique_fd open_sound(const std::string& name);

} // namespace vocalink
