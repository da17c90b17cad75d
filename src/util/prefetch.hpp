// SPDX-License-Identifier: GPL-3.0-or-later
// Memory that is fetched before it is needed.
#pragma once

#include <cstddef>

namespace vocalink::util {

/** Fetches memory into the cache while something else is done, a system call for instance. Harmless
 *  for any address. */
inline void prefetch(const void* begin, std::size_t bytes) {
    constexpr std::size_t cache_line_bytes = 64;
    for (std::size_t offset = 0; offset < bytes; offset += cache_line_bytes) {
        __builtin_prefetch(static_cast<const char*>(begin) + offset);
    }
}

} // namespace vocalink::util
