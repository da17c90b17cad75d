// SPDX-License-Identifier: GPL-3.0-or-later
// Emitting a signal, as every relayed packet does once.
#include "util/signal.hpp"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

struct sender {
    int packets = 0;
};

struct listener {
    void hear(sender* from) { ++from->packets; }
};

void emit_signal(benchmark::State& state) {
    std::vector<listener> listeners(static_cast<std::size_t>(state.range(0)));
    vocalink::util::signal1<sender*> signal;
    for (listener& each : listeners) {
        signal.connect(&each, &listener::hear);
    }
    sender from;
    for (auto round : state) {
        (void)round;
        signal.emit(&from);
        benchmark::DoNotOptimize(from);
    }
}
BENCHMARK(emit_signal)->Arg(1)->Arg(2);

} // namespace
