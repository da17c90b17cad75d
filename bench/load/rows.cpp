// SPDX-License-Identifier: GPL-3.0-or-later
// Rows as counters, and the judgement of them.
#include "load/benchmarks.hpp"

#include <iostream>

namespace vocalink::bench {

namespace {

bool failed = false;

} // namespace

void fail(const std::string& what) {
    failed = true;
    std::cerr << "FAILED: " << what << std::endl;
}

void add_row(benchmark::State& state, const std::string& what, double daemon) {
    state.counters[what + ": daemon"] = daemon;
}

void add_row(benchmark::State& state, const std::string& what, double bare, double daemon,
             double wanted) {
    state.counters[what + ": bare"] = bare;
    add_row(state, what, daemon);
    if (wanted != 0) {
        state.counters[what + ": ratio"] = daemon / bare;
        state.counters[what + ": wanted"] = wanted;
    }
}

void expect_none(benchmark::State& state, const std::string& what, std::uint64_t count) {
    add_row(state, what, static_cast<double>(count));
    state.counters[what + ": wanted"] = 0;
    if (count != 0) {
        fail(std::to_string(count) + " " + what);
    }
}

void add_losses(benchmark::State& state, const round_result& bare, const round_result& daemon) {
    add_row(state, "packets lost", static_cast<double>(bare.lost),
            static_cast<double>(daemon.lost));
    add_row(state, "processors used by others", bare.others, daemon.others);
    state.counters["processors used by others: wanted"] = 0.08;
    expect_none(state, "packets lost by the daemon alone", bare.lost == 0 ? daemon.lost : 0);
    expect_none(state, "packets that came back wrong", bare.wrong + daemon.wrong);
}

bool run_all() {
    return benchmark::RunSpecifiedBenchmarks() != 0 && !failed;
}

} // namespace vocalink::bench
