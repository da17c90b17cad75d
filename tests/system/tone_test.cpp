// SPDX-License-Identifier: GPL-3.0-or-later
// Signalling tones on the wire and in what arrives: raw 16-bit samples in packets of PCMU.
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

TEST_F(tone_test, each_digit_is_its_pair_of_tones) {
    start();
    auto legs = new_call({"PCMU"});
    // Digits stand by the higher frequency of their pairs, then by the lower.
    const std::tuple<std::string, std::vector<double>, std::string, std::size_t> systems[] = {
        {"BELLMF", {700, 900, 1100, 1300, 1500, 1700}, "1234567890CA*B#", 4},
        {"R2MF", {1380, 1500, 1620, 1740, 1860, 1980}, "1234567890BCDEF", 0},
        {"DTMF", {697, 770, 852, 941, 1209, 1336, 1477, 1633}, "147*2580369#ABCD", 0}};
    for (const auto& [type, hz, digits, unasked] : systems) {
        expect_reply("new tone_stream t " + type + " 0", "SUCCESS");
        expect_reply("join room t", "SUCCESS");
        std::uint16_t number = 0;
        const auto share_next = [&](double low_hz, double high_hz) {
            const bytes packet = legs[0].phone.receive().value();
            const harness::rtp_view view = harness::parse_rtp(packet);
            const bytes payload(view.payload.begin(), view.payload.end());
            number += 1;
            EXPECT_EQ(payload.size(), 160U);
            EXPECT_EQ(packet,
                      harness::rtp_packet_bytes(pcmu, number, 0, view.ssrc, payload, number == 1));
            return share_at(low_hz, payload) + share_at(high_hz, payload);
        };
        const bool rows = type == "DTMF"; // of four keys, not all pairs of the frequencies
        std::size_t at = 0;
        for (std::size_t high = rows ? 4 : 1; high < hz.size(); ++high) {
            for (std::size_t low = 0; low < (rows ? 4 : high); ++low, ++at) {
                if (at >= unasked) {
                    expect_reply("play tone t " + digits.substr(at, 1) + " ignored", "SUCCESS");
                }
                for (int packets = 0; share_next(hz[low], hz[high]) < 0.8; ++packets) {
                    ASSERT_LT(packets, 20) << type << " " << digits[at];
                }
                share_next(0, 0);
                share_next(0, 0); // a digit that is over leaves the next one a whole block
            }
        }
        EXPECT_EQ(share_next(hz[hz.size() - 2], hz.back()) > 0.8, type == "R2MF") << "sustained?";
        EXPECT_TRUE(control->command("delete stream t").starts_with("SUCCESS incoming_packets="));
        legs[0].forget_received();
    }
}

TEST_F(tone_test, digit_in_what_arrives_is_detected_once_where_asked_for) {
    start();
    auto legs = new_call({"PCMU"});
    std::array<short, 1600> samples{}; // a tenth of a second of 5, and then silence
    for (std::size_t i = 0; i < 800; ++i) {
        const double radians = 2 * std::numbers::pi * static_cast<double>(i) / 8000;
        samples[i] = short(5000 * (std::sin(770 * radians) + std::sin(1336 * radians)));
    }
    const auto* const octets = reinterpret_cast<const std::uint8_t*>(samples.data());
    for (const std::string detection : {"on", "ON"}) {
        EXPECT_EQ(occurrences(daemon->log(), "detected: "), 0);
        expect_reply("new tone_stream t DTMF " + detection, "SUCCESS");
        expect_reply("join room t", "SUCCESS");
        for (std::size_t at = 0; at < sizeof samples; at += 160) {
            legs[0].send(pcmu, bytes(octets + at, octets + at + 160));
        }
        wait_until_read(legs[0]);
        expect_reply("delete stream t", "SUCCESS incoming_packets=0 outgoing_packets=0");
    }
    EXPECT_EQ(occurrences(daemon->log(), "detected: "), 1);
    EXPECT_EQ(occurrences(daemon->log(), "\ndetected: 5\n"), 1);
}

} // namespace vocalink::system_tests
