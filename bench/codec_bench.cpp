// SPDX-License-Identifier: GPL-3.0-or-later
// Every codec both ways, a packet at a time, and how many legs a core could decode and encode for.
#include "audio/codec.hpp"
#include "audio/frame.hpp"

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

namespace {

using vocalink::audio_codec;

constexpr std::size_t packets = 50; // that are coded in turn

/** A voice of a kind: harmonics of a pitch that glides, louder and softer four times a second. */
std::vector<std::int16_t> voice(std::size_t samples) {
    std::vector<std::int16_t> made(samples);
    double phase = 0;
    for (std::size_t i = 0; i < samples; ++i) {
        const double t = static_cast<double>(i) / 8000;
        phase += 2 * std::numbers::pi * (120 + 30 * std::sin(9 * t)) / 8000;
        double sum = 0;
        for (int harmonic = 1; harmonic <= 20; ++harmonic) {
            sum += std::sin(harmonic * phase) / harmonic;
        }
        made[i] = static_cast<std::int16_t>(6000 * sum * (0.6 + 0.4 * std::sin(25 * t)));
    }
    return made;
}

void code(benchmark::State& state, const audio_codec& codec, bool encodes, bool decodes) {
    const auto frame_samples = static_cast<std::size_t>(codec.frame_samples);
    const std::vector<std::int16_t> spoken = voice(packets * frame_samples);
    std::array<std::vector<std::uint8_t>, packets> sent;
    const auto first_encoder = codec.new_encoder(), encoder = codec.new_encoder();
    const auto decoder = codec.new_decoder();
    for (std::size_t i = 0; i < packets; ++i) {
        sent[i].resize(static_cast<std::size_t>(codec.frame_bytes));
        first_encoder->encode(&spoken[i * frame_samples], sent[i].data());
    }
    std::array<std::int16_t, vocalink::max_frame_samples> heard{};
    std::vector<std::uint8_t> payload(sent[0].size());
    std::size_t next = 0;
    for ([[maybe_unused]] auto packet : state) {
        if (decodes) {
            decoder->decode(sent[next], heard.data());
        }
        if (encodes) {
            encoder->encode(&spoken[next * frame_samples], payload.data());
        }
        next = (next + 1) % packets;
        benchmark::ClobberMemory();
    }
    const double spoken_s = static_cast<double>(state.iterations()) * codec.frame_samples / 8000;
    if (encodes && decodes) {
        state.counters["legs_per_core"] = benchmark::Counter(spoken_s, benchmark::Counter::kIsRate);
    }
}

[[maybe_unused]] const bool registered = [] {
    for (const audio_codec& codec : vocalink::audio_codecs()) {
        const std::string name = "codec/" + std::string(codec.word);
        const auto add = [&](const char* what, bool encodes, bool decodes) {
            benchmark::RegisterBenchmark((name + what).c_str(), [=, &codec](auto& state) {
                code(state, codec, encodes, decodes);
            })->Unit(benchmark::kMicrosecond);
        };
        add("/encode", true, false);
        add("/decode", false, true);
        add("/both", true, true);
    }
    return true;
}();

} // namespace
