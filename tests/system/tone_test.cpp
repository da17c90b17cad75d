// SPDX-License-Identifier: GPL-3.0-or-later
// Signalling tones on the wire: raw 16-bit samples in packets of PCMU.
#include "system_test.hpp"

#include <cmath>
#include <cstring>
#include <numbers>

namespace vocalink::system_tests {

using tone_test = system_test;

/** The share of the samples' energy at one frequency, 0 to 1; 0 for silence. */
double share_at(double hz, const bytes& payload) {
    double real = 0, imaginary = 0, energy = 1e-9;
    std::array<short, 80> samples{};
    std::memcpy(samples.data(), payload.data(), std::min(payload.size(), sizeof samples));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double radians = 2 * std::numbers::pi * hz * static_cast<double>(i) / 8000;
        real += samples[i] * std::cos(radians);
        imaginary += samples[i] * std::sin(radians);
        energy += samples[i] * samples[i];
    }
    return (real * real + imaginary * imaginary) / energy / 40;
}

TEST_F(tone_test, digits_are_pairs_of_tones_and_r2_sustains_the_last) {
    start();
    auto legs = new_call({"PCMU"});
    const std::tuple<std::string, std::string, int, int> rows[] = {
        {"BELLMF", "", 700, 900}, {"R2MF", "12", 1380, 1620}, {"DTMF", "1", 697, 1209}};
    for (const auto& [type, digits, low_hz, high_hz] : rows) {
        expect_reply("new tone_stream t " + type + " 0", "SUCCESS");
        expect_reply("join room t", "SUCCESS");
        if (!digits.empty()) { // Bell MF begins with 1234
            expect_reply("play tone t " + digits + " ignored", "SUCCESS");
        }
        std::uint16_t number = 0;
        const auto share_next = [&, low = low_hz, high = high_hz] {
            const bytes packet = legs[0].phone.receive().value();
            const harness::rtp_view view = harness::parse_rtp(packet);
            const bytes payload(view.payload.begin(), view.payload.end());
            number += 1;
            EXPECT_EQ(payload.size(), 160U);
            EXPECT_EQ(packet,
                      harness::rtp_packet_bytes(pcmu, number, 0, view.ssrc, payload, number == 1));
            return share_at(low, payload) + share_at(high, payload);
        };
        for (int packets = 0; share_next() < 0.8; ++packets) {
            ASSERT_LT(packets, 40) << type;
        }
        share_next();
        share_next();
        EXPECT_EQ(share_next() > 0.8, type == "R2MF") << type << ": sustained?";
        EXPECT_TRUE(control->command("delete stream t").starts_with("SUCCESS incoming_packets="));
        legs[0].forget_received();
    }
}

} // namespace vocalink::system_tests
