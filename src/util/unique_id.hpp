// SPDX-License-Identifier: GPL-3.0-or-later
// Compact base-34 numbers, and the identifiers made from them.
#pragma once

#include <string>

namespace vocalink::util {

/** The digits of base 34: no I and no O, so that nobody misreads them as 1 and 0. */
extern const char* const base34m;

/** The base-34 text of value, most significant digit first, unpadded; empty for 0. A value that
 *  reduces to exactly 34 starts with a NUL byte: the loop stops one value late, and identifiers in
 *  use depend on it. */
[[nodiscard]] std::string to_base34m(unsigned long long value);

/** "T-R": microseconds since 10^9 s after the epoch, and two random digits, both in base 34.
 *  The random part comes from the unseeded rand() and is empty where it is 34. The first part grows
 *  with every call, so identifiers of a process are unique. Loop thread only. */
[[nodiscard]] std::string uniqueid();

} // namespace vocalink::util
