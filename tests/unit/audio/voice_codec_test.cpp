// SPDX-License-Identifier: GPL-3.0-or-later
// Codecs of conference members: what a payload may look like, and that speech survives them.
#include "audio/g711.hpp"
#include "audio/voice_decoder.hpp"
#include "audio/voice_encoder.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include <spandsp.h>

namespace vocalink {
namespace {

constexpr int tone_hz = 440;
constexpr double tone_level = 8000;

std::array<std::int16_t, voice_frame_samples> tone_frame(int first_sample) {
    std::array<std::int16_t, voice_frame_samples> frame{};
    for (int i = 0; i < voice_frame_samples; ++i) {
        const double turns = static_cast<double>(tone_hz * (first_sample + i)) / 8000;
        frame[i] = static_cast<std::int16_t>(tone_level * std::sin(2 * std::numbers::pi * turns));
    }
    return frame;
}

/** Share of the samples' energy that is a tone of 440 Hz. */
double tone_share(std::span<const std::int16_t> samples) {
    double in_phase = 0;
    double quadrature = 0;
    double energy = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double angle = 2 * std::numbers::pi * tone_hz * static_cast<double>(i) / 8000;
        in_phase += samples[i] * std::cos(angle);
        quadrature += samples[i] * std::sin(angle);
        energy += static_cast<double>(samples[i]) * samples[i];
    }
    return 2 * (in_phase * in_phase + quadrature * quadrature) /
           (energy * static_cast<double>(samples.size()));
}

TEST(voice_codec, tone_comes_back_through_every_codec) {
    struct codec {
        rtp_payload payload;
        int frame_bytes;
        std::size_t packets; // of one second
    };
    for (const codec& c : {codec{PCMU, 160, 50}, codec{PCMA, 160, 50}, codec{G722, 160, 50},
                           codec{G729, 20, 50}, codec{ILBC, 38, 50}, codec{ILBC, 50, 33}}) {
        SCOPED_TRACE(c.payload * 1000 + c.frame_bytes);
        voice_encoder encoder(c.payload, c.frame_bytes);
        voice_decoder decoder(ILBC, c.frame_bytes);
        std::vector<std::int16_t> heard;
        std::array<std::int16_t, max_voice_packet_samples> samples{};
        std::size_t packets = 0;
        for (int frame = 0; frame < 50; ++frame) {
            const auto payload = encoder.encode(tone_frame(frame * voice_frame_samples));
            if (!payload.empty()) {
                ++packets;
                ASSERT_EQ(decoder.decode(c.payload, payload, samples), encoder.packet_samples());
                heard.insert(heard.end(), samples.begin(),
                             samples.begin() + encoder.packet_samples());
            }
        }
        EXPECT_EQ(packets, c.packets);
        EXPECT_GT(tone_share(std::span(heard).subspan(1600)), 0.95);
    }
}

TEST(voice_codec, takes_whole_frames_only) {
    const voice_decoder decoder(97, 50);
    for (const int type : {PCMU, PCMA, G722}) {
        EXPECT_EQ(decoder.samples_in(type, 1), 1);
        EXPECT_EQ(decoder.samples_in(type, 960), 960);
        EXPECT_EQ(decoder.samples_in(type, 961), 0);
        EXPECT_EQ(decoder.samples_in(type, 0), 0);
    }
    EXPECT_EQ(decoder.samples_in(G729, 10), 80);
    EXPECT_EQ(decoder.samples_in(G729, 120), 960);
    EXPECT_EQ(decoder.samples_in(G729, 130), 0);
    EXPECT_EQ(decoder.samples_in(G729, 2), 80); // a silence description
    EXPECT_EQ(decoder.samples_in(G729, 12), 160);
    EXPECT_EQ(decoder.samples_in(G729, 15), 0);
    EXPECT_EQ(decoder.samples_in(97, 300), 1440);
    EXPECT_EQ(decoder.samples_in(97, 350), 0);
    EXPECT_EQ(decoder.samples_in(97, 38), 0);
    EXPECT_EQ(decoder.samples_in(ILBC, 50), 0);
    EXPECT_FALSE(voice_decoder(-1, 0).accepts(-1));
}

TEST(voice_codec, alaw_equals_the_reference) {
    for (int code = 0; code < 256; ++code) {
        const char byte = static_cast<char>(code);
        short sample = 0;
        alaw2linear(&byte, &sample, 1);
        ASSERT_EQ(sample, alaw_to_linear(static_cast<std::uint8_t>(code)));
    }
    for (int sample = -32768; sample <= 32767; ++sample) {
        const auto in = static_cast<short>(sample);
        char byte = 0;
        linear2alaw(&in, &byte, 1);
        ASSERT_EQ(static_cast<std::uint8_t>(byte), linear_to_alaw(sample)) << sample;
    }
}

} // namespace
} // namespace vocalink
