// SPDX-License-Identifier: GPL-3.0-or-later
// What the preloaded allocation counter and its reader agree upon.
#pragma once

#include <cstddef>

namespace vocalink::bench {

/** Environment variable with the path of the file that holds the shared page. */
inline constexpr const char* allocation_file_variable = "VOCALINK_ALLOCATION_FILE";

/** The page begins with the count, 64 bits in host order. */
inline constexpr std::size_t allocation_page_bytes = 4096;

} // namespace vocalink::bench
