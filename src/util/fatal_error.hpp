// SPDX-License-Identifier: GPL-3.0-or-later
// The end of a process that cannot start.
#pragma once

#include <string_view>

namespace vocalink::util {

/** Logs "-- main: fatal error", the number, what was tried and the error's text, and ends the
 *  process with status 1 when the log is written. Loop thread.
 *  @param error  a system error number */
[[noreturn]] void fatal_error(int error, std::string_view what);

} // namespace vocalink::util
