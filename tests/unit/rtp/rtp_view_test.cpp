// SPDX-License-Identifier: GPL-3.0-or-later
// What is taken for payload: by the fixed header alone, and as the whole header says.
#include "rtp/rtp_view.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <tuple>
#include <vector>

namespace vocalink {
namespace {

/** A packet of len bytes that begins with first_byte and ends with last_byte. */
std::string packet_of(int first_byte, int len, int last_byte = 0) {
    std::string packet(static_cast<std::size_t>(len), static_cast<char>(last_byte));
    packet.replace(0, 1, 1, static_cast<char>(first_byte));
    return packet;
}

TEST(measure_rtp, goes_by_the_fixed_header_alone) {
    const std::array<int, 4> rows[] = {{0x80, 1, 1, 1},    {0x80, 11, 11, 11}, {0x80, 12, 12, 0},
                                       {0x90, 15, 15, 0},  {0x90, 16, 16, 0},  {0x90, 172, 16, 0},
                                       {0x82, 172, 12, 0}, {0xA0, 172, 12, 0}, {0x40, 99, 99, 99}};
    for (const auto& [first_byte, len, header, padding] : rows) {
        const rtp_view view = measure_rtp(packet_of(first_byte, len).data(), len);
        EXPECT_EQ(view.header_bytes, header) << first_byte;
        EXPECT_EQ(view.padding_bytes, padding) << first_byte;
        EXPECT_EQ(view.payload.size(), static_cast<std::size_t>(len - header)) << first_byte;
    }
}

TEST(parse_rtp, takes_the_whole_header_and_padding_off_or_refuses_the_packet) {
    const std::string fixed("\x80\xE5\x12\x34\1\2\3\4ssrc", 12);
    const auto with_flags = [&fixed](int first_byte, const std::string& rest) {
        return static_cast<char>(first_byte) + fixed.substr(1) + rest;
    };
    const std::string extension("\0\1\0\2eight...", 12);
    const std::pair<std::string, std::string> taken[] = {
        {fixed, ""},
        {fixed + "voice", "voice"},
        {with_flags(0x82, "csrccsrcvoice"), "voice"},
        {with_flags(0x90, extension + "voice"), "voice"},
        {with_flags(0x91, "csrc" + extension + "voice"), "voice"},
        {with_flags(0xA0, std::string("voice\0\0\3", 8)), "voice"},
        {with_flags(0xA0, "\1"), ""}};
    for (const auto& [packet, payload] : taken) {
        const auto view = parse_rtp(packet.data(), static_cast<int>(packet.size()));
        ASSERT_TRUE(view) << packet;
        EXPECT_EQ(std::string(view->payload.begin(), view->payload.end()), payload);
        EXPECT_EQ(std::tuple(view->payload_type, view->marker, view->sequence, view->timestamp),
                  std::tuple(0x65, true, 0x1234, 0x01020304U));
    }
    const std::string refused[] = {"",
                                   fixed.substr(0, 11),
                                   with_flags(0x40, "voice"),
                                   with_flags(0x81, "csr"),
                                   with_flags(0x90, extension.substr(0, 3)),
                                   with_flags(0x90, extension.substr(0, 11)),
                                   with_flags(0x90, "\xFF\xFF\xFF\xFFvoice"),
                                   with_flags(0xA0, ""),
                                   with_flags(0xA0, std::string("voice\0", 6)),
                                   with_flags(0xA0, "voice\x07"),
                                   with_flags(0xB0, std::string("\0\0\0\0\1", 5)).substr(0, 16)};
    for (const std::string& packet : refused) {
        const std::vector<char> exact(packet.begin(), packet.end()); // nothing behind its last byte
        EXPECT_FALSE(parse_rtp(exact.data(), static_cast<int>(exact.size()))) << packet;
    }
}

} // namespace
} // namespace vocalink
