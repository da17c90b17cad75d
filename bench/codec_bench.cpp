// SPDX-License-Identifier: GPL-3.0-or-later
// µ-law both ways, one frame of 20 ms.
#include "audio/g711.hpp"

#include <benchmark/benchmark.h>

#include <array>
#include <random>

namespace {

constexpr int frame_samples = 160;

/** Samples of every size and both signs, in no order that a branch predictor could learn. */
std::array<short, frame_samples> loud_frame() {
    std::mt19937 random(1);
    std::uniform_int_distribution<int> sample(-32768, 32767);
    std::array<short, frame_samples> frame{};
    for (short& value : frame) {
        value = static_cast<short>(sample(random));
    }
    return frame;
}

void ulaw_encode(benchmark::State& state) {
    const auto frame = loud_frame();
    std::array<char, frame_samples> payload{};
    for (auto round : state) {
        (void)round;
        vocalink::linear2ulaw(frame.data(), payload.data(), frame_samples);
        benchmark::DoNotOptimize(payload);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frame_samples);
}
BENCHMARK(ulaw_encode);

void ulaw_decode(benchmark::State& state) {
    auto frame = loud_frame();
    std::array<char, frame_samples> payload{};
    vocalink::linear2ulaw(frame.data(), payload.data(), frame_samples);
    for (auto round : state) {
        (void)round;
        vocalink::ulaw2linear(payload.data(), frame.data(), frame_samples);
        benchmark::DoNotOptimize(frame);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frame_samples);
}
BENCHMARK(ulaw_decode);

} // namespace
