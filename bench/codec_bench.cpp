// SPDX-License-Identifier: GPL-3.0-or-later
// µ-law both ways, one frame of 20 ms.
#include "audio/frame.hpp"
#include "audio/g711.hpp"

#include <benchmark/benchmark.h>

#include <array>
#include <random>

namespace {

/** Samples of every size and both signs, in no order that a branch predictor could learn. */
std::array<short, vocalink::usual_frame_samples> loud_frame() {
    std::mt19937 random(1);
    std::uniform_int_distribution<int> sample(-32768, 32767);
    std::array<short, vocalink::usual_frame_samples> frame{};
    for (short& value : frame) {
        value = static_cast<short>(sample(random));
    }
    return frame;
}

void ulaw_encode(benchmark::State& state) {
    const auto frame = loud_frame();
    std::array<char, vocalink::usual_frame_samples> payload{};
    for (auto round : state) {
        (void)round;
        vocalink::linear2ulaw(frame.data(), payload.data(), vocalink::usual_frame_samples);
        benchmark::DoNotOptimize(payload);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * vocalink::usual_frame_samples);
}
BENCHMARK(ulaw_encode);

void ulaw_decode(benchmark::State& state) {
    auto frame = loud_frame();
    std::array<char, vocalink::usual_frame_samples> payload{};
    vocalink::linear2ulaw(frame.data(), payload.data(), vocalink::usual_frame_samples);
    for (auto round : state) {
        (void)round;
        vocalink::ulaw2linear(payload.data(), frame.data(), vocalink::usual_frame_samples);
        benchmark::DoNotOptimize(frame);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * vocalink::usual_frame_samples);
}
BENCHMARK(ulaw_decode);

} // namespace
