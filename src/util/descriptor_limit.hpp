// SPDX-License-Identifier: GPL-3.0-or-later
// How many descriptors the process may have.
#pragma once

namespace vocalink::util {

/** Raises the soft limit to the hard one: a stream needs a descriptor, and the usual soft limit of
 *  1,024 would end a busy daemon's calls. Logs a line when the system refuses. */
void raise_descriptor_limit();

} // namespace vocalink::util
