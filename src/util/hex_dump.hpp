// SPDX-License-Identifier: GPL-3.0-or-later
// Hex dumps for diagnostics.
#pragma once

#include <string>

namespace vocalink {

namespace util {

/** Offset, hex bytes and printable characters, 16 bytes a line; an initialiser of C with 8 bytes a
 *  line when the environment variable "dump_cformat" is set. */
[[nodiscard]] std::string dump(const char* data, unsigned int len);

} // namespace util

using util::dump;

} // namespace vocalink
