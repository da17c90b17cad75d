// SPDX-License-Identifier: GPL-3.0-or-later
// Codecs: what a payload may look like, and G.711 bit by bit.
#include "audio/g711.hpp"
#include "audio/voice_decoder.hpp"
#include "unit_test.hpp"

#include <spandsp.h>

namespace vocalink {
namespace {

TEST(voice_codec, takes_whole_frames_only_and_each_talker_anew) {
    const voice_decoder decoder(97, 50);
    const std::array<int, 3> rows[] = {
        // type, bytes, samples; a silence description has two bytes
        {PCMU, 1, 1},     {PCMA, 960, 960}, {G722, 961, 0}, {PCMU, 0, 0},    {G729, 10, 80},
        {G729, 120, 960}, {G729, 130, 0},   {G729, 2, 80},  {G729, 12, 160}, {G729, 15, 0},
        {97, 300, 1440},  {97, 350, 0},     {97, 38, 0},    {ILBC, 50, 0}};
    for (const auto& [type, payload_bytes, samples] : rows) {
        EXPECT_EQ(decoder.samples_in(type, std::size_t(payload_bytes)), samples) << type;
    }
    EXPECT_FALSE(voice_decoder(-1, 0).accepts(-1));
    voice_decoder used(97, 50);
    std::array<std::int16_t, max_voice_packet_samples> first{}, anew{};
    for (auto* const out : {&first, &anew}) {
        EXPECT_EQ(used.decode(G722, std::array<std::uint8_t, 160>{1, 77, 3}, *out), 160);
        used.restart();
    }
    EXPECT_EQ(first, anew) << "another talker's sound went on";
}

TEST(g711, equals_the_reference_for_every_sample_and_byte_but_sends_no_zero) {
    std::vector<short> samples(65536), decoded(256); // whole, as frames are: the loops are unrolled
    std::vector<char> encoded(samples.size()), codes(decoded.size());
    std::iota(samples.begin(), samples.end(), short{-32768});
    std::iota(codes.begin(), codes.end(), char{0});
    for (const bool alaw : {false, true}) {
        (alaw ? linear2alaw : linear2ulaw)(samples.data(), encoded.data(), 65536);
        (alaw ? alaw2linear : ulaw2linear)(codes.data(), decoded.data(), 256);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const int code = alaw ? linear_to_alaw(samples[i]) : linear_to_ulaw(samples[i]);
            ASSERT_EQ(encoded[i] & 0xFF, alaw || code != 0 ? code : 2) << samples[i];
        }
        for (std::size_t i = 0; i < codes.size(); ++i) {
            const auto code = static_cast<std::uint8_t>(codes[i]);
            ASSERT_EQ(decoded[i], alaw ? alaw_to_linear(code) : ulaw_to_linear(code));
        }
    }
}

} // namespace
} // namespace vocalink
