// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon's figures at one moment.
#pragma once

#include "control/command_run.hpp"
#include "recording/logging_thread.hpp"
#include "recording/rec_mover_thread.hpp"
#include "streams/rtp_figures.hpp"
#include "util/loop_lag.hpp"

#include <array>
#include <cstddef>
#include <map>
#include <string_view>
#include <utility>

namespace vocalink {

/** How many objects there are of each kind and codec, or kind and mode. What there was once is kept
 *  with 0. */
using object_tally = std::map<std::pair<std::string_view, std::string_view>, long long>;

/** What the loop hands to the thread that writes metrics. */
struct metrics_snapshot {
    double start_time_s = 0; // of the daemon, since 1970
    std::size_t connections = 0;
    object_tally streams;
    object_tally bridges;
    rtp_figures rtp{};
    writer_figures writer;
    mover_figures mover;
    long long dropped_notices = 0;
    long long dropped_log_lines = 0;
    std::array<long long, command_outcome_count> commands{};
    util::lag_figures lag;
};

} // namespace vocalink
