// SPDX-License-Identifier: GPL-3.0-or-later
// Random numbers from the system's source.
#pragma once

#include <cstdint>

namespace vocalink::util {

/** 32 bits that do not repeat from one start of the process to the next.
 *  @throws std::system_error when the system gives none */
[[nodiscard]] std::uint32_t system_random();

} // namespace vocalink::util
