// SPDX-License-Identifier: GPL-3.0-or-later
// The descriptors that every process is expected to have.
#pragma once

namespace vocalink::util {

/** Opens /dev/null for whichever of standard input, output and error is closed. Otherwise the first
 *  sockets would take their numbers, and log lines would go to a peer. Before anything is opened. */
void open_missing_standard_descriptors();

} // namespace vocalink::util
