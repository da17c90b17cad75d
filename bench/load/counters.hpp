// SPDX-License-Identifier: GPL-3.0-or-later
// What the preloaded counter and the reader of its counts agree upon.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vocalink::bench {

/** Environment variable with the path of the file to count in. */
inline constexpr const char* counter_file_variable = "VOCALINK_COUNTER_FILE";

enum counted_kind : std::size_t {
    heap_allocations,
    event_waits,
    file_reads, // and reads of pipes
    sends,
    receptions,
    other_calls,
    longest_turn_ns, // processor time of its thread between two waits for events, no count
    counted_kinds
};

/** The file: one count for each kind, 64 bits in host order. */
using counter_values = std::array<std::uint64_t, counted_kinds>;

} // namespace vocalink::bench
