// SPDX-License-Identifier: GPL-3.0-or-later
// Telephone events and in-band codes: what is told of received ones, and how relayed ones count.
#include "rtp/code_watcher.hpp"
#include "rtp/event_numbering.hpp"
#include "rtp/event_receiver.hpp"
#include "rtp/rtp_packet.hpp"

#include <gtest/gtest.h>

#include <string>

namespace vocalink {
namespace {

/** What one packet told: "-code/duration" of an ended key, "+code/volume" of a begun one. */
std::string text_of(const event_receiver::report& told) {
    const auto text = [](const char* sign, int code, int number) {
        return sign + std::to_string(code) + "/" + std::to_string(number);
    };
    return (told.ended ? text("-", told.ended->code, told.ended->duration) : "") +
           (told.started ? text("+", told.started->code, told.started->volume) : "");
}

TEST(event_receiver, tells_each_key_once_by_marker_end_and_sequence_number) {
    struct row {
        int sequence;
        bool marker;
        int code;
        int flags; // end flag and volume
        int duration;
        std::string told;
        bool in_progress;
    };
    const row rows[] = {{10, false, 1, 10, 160, "", false}, // its first packet was lost
                        {11, false, 1, 0x8A, 320, "", false},
                        {12, true, 5, 0x4A, 0, "+5/10", true}, // bit 6 is no part of the volume
                        {12, true, 5, 10, 0, "", true},
                        {13, true, 6, 10, 160, "", true}, // nothing has lasted yet
                        {14, true, 7, 12, 160, "-5/160+7/12", true},
                        {15, false, 7, 12, 65535, "", true},
                        {16, false, 7, 0x8C, 800, "-7/800", false},
                        {16, false, 7, 0x8C, 800, "", false},
                        {17, false, 7, 0x8C, 800, "", false},
                        {18, true, 15, 0x80, 1, "+15/0", true}}; // begun and ended in one packet
    event_receiver keys;
    for (const row& r : rows) {
        const std::uint8_t payload[] = {
            static_cast<std::uint8_t>(r.code), static_cast<std::uint8_t>(r.flags),
            static_cast<std::uint8_t>(r.duration >> 8), static_cast<std::uint8_t>(r.duration)};
        rtp_view packet;
        packet.marker = r.marker;
        packet.sequence = static_cast<std::uint16_t>(r.sequence);
        packet.payload = payload;
        EXPECT_EQ(text_of(keys.take(packet)), r.told) << r.sequence;
        EXPECT_EQ(keys.in_progress(), r.in_progress) << r.sequence;
    }
}

TEST(code_watcher, collects_one_byte_of_each_of_the_three_packets_behind_the_mark) {
    const std::string header(rtp_header_bytes, 'h'), mark("\xFE\xED\xFA\xCE");
    const std::pair<std::string, std::string> story[] = {
        {"\xFE\xED\xFA", ""},
        {mark, ""},
        {"", ""}, // too short to carry one
        {"a..", ""},
        {"b", ""},
        {"c", "abc"},
        {"d", ""},
        {mark + "x", ""},
        {"1", ""},
        {mark, ""}, // begins anew
        {"2", ""},
        {"3", ""},
        {mark, "23\xFE"}, // ends one and begins the next
        {"4", ""},
        {"5", ""},
        {"6", "456"}};
    code_watcher codes;
    for (const auto& [body, expected] : story) {
        const std::string packet = header + body;
        const auto code = codes.take(packet.data(), static_cast<int>(packet.size()));
        EXPECT_EQ(code ? std::string(code->begin(), code->end()) : "", expected) << body;
    }
}

TEST(event_numbering, numbers_from_1_and_spaces_events_whatever_their_source_used) {
    struct row {
        bool marker;
        std::uint16_t sequence;
        std::uint32_t timestamp;
        std::uint16_t duration;
    };
    const row rows[] = {{false, 1, 0xFFFFFFFF, 500}, // begins without a marker
                        {true, 2, 960, 0},
                        {false, 3, 960, 500},
                        {true, 4, 1920, 0}};
    event_numbering numbering;
    std::array<char, rtp_header_bytes + 4 + event_payload_bytes> packet{};
    for (const auto& [marker, sequence, timestamp, duration] : rows) {
        rtp_packet::set_marker(packet.data(), marker);
        rtp_packet::write_be16(&packet[18], 500);
        numbering.renumber(packet.data(), rtp_header_bytes + 4);
        EXPECT_EQ(rtp_packet::sequence(packet.data()), sequence);
        EXPECT_EQ(rtp_packet::timestamp(packet.data()), timestamp);
        EXPECT_EQ(rtp_packet::read_be16(&packet[18]), duration);
    }
}

} // namespace
} // namespace vocalink
