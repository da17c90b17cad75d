// SPDX-License-Identifier: GPL-3.0-or-later
// Splitting a command line into words.
#include "util/text.hpp"

#include <benchmark/benchmark.h>

#include <deque>
#include <string>

namespace {

void tokenise(benchmark::State& state, const char* line) {
    for (auto round : state) {
        (void)round;
        std::deque<std::string> words;
        vocalink::util::parse_args(line, words, '\0');
        benchmark::DoNotOptimize(words);
    }
}
BENCHMARK_CAPTURE(tokenise, join, "join room caller-1");
BENCHMARK_CAPTURE(tokenise, new_rtp_stream,
                  "new rtp_stream caller-1 192.168.100.10 192.168.100.20 40000 PCMU");
BENCHMARK_CAPTURE(tokenise, quoted_and_escaped,
                  "recording \"caller 1\" start /var/spool/with\\ blank/\"a long name\" both");

} // namespace
