// SPDX-License-Identifier: GPL-3.0-or-later
// The descriptors that every process is expected to have.
#pragma once

namespace vocalink::util {

/** Opens /dev/null for whichever of standard input, output and error is closed. Call it before
 *  anything is opened: otherwise a socket becomes standard error, and a peer gets the log. */
void open_missing_standard_descriptors();

} // namespace vocalink::util
