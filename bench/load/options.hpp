// SPDX-License-Identifier: GPL-3.0-or-later
// What a run of the load program measures, and how long.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vocalink::bench {

struct load_options {
    std::set<std::string> parts = {"relay",     "conference",  "sound",
                                   "recording", "allocations", "memory"};
    std::vector<std::size_t> pairs = {10, 100, 1000};      // sizes of the relay part
    std::vector<std::size_t> members = {3, 10, 100, 1000}; // sizes of the conference part
    std::vector<std::size_t> recorded = {100, 250};        // pairs of the recording part
    std::size_t players = 1000;                            // sound streams that play at once
    std::size_t rounds = 9;               // of each, the bare loop and the daemon by turns
    double seconds = 1.5;                 // of one round
    bool repeat_disturbed = true;         // rounds during which others kept the machine busy
    std::size_t idle_streams = 10'000;    // whose memory is measured
    std::size_t cycled_streams = 100'000; // created and deleted in the memory part
    std::string arithmetic_csv;           // file with the results of vocalink_bench; may be empty
};

/** Reads the command line. Nothing when the usage was asked for or is needed; it is then printed.
 */
[[nodiscard]] std::optional<load_options> parse_options(int argc, char** argv, int& exit_status);

} // namespace vocalink::bench
