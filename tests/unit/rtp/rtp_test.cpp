// SPDX-License-Identifier: GPL-3.0-or-later
// Packets, events, keys and codes on the wire, SRTP and SAP.
#include "rtp/code_watcher.hpp"
#include "rtp/event_receiver.hpp"
#include "rtp/key_receiver.hpp"
#include "rtp/key_sender.hpp"
#include "rtp/rtp_packet.hpp"
#include "rtp/rtp_view.hpp"
#include "rtp/sap_announcer.hpp"
#include "rtp/srtp_session.hpp"
#include "unit_test.hpp"

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

/** What one packet told: "-code/duration" of an ended key, "+code/volume" of a begun one. */
std::string text_of(const event_receiver::report& told) {
    const auto text = [](const char* sign, int code, int number) {
        return sign + std::to_string(code) + "/" + std::to_string(number);
    };
    return (told.ended ? text("-", told.ended->code, told.ended->duration) : "") +
           (told.started ? text("+", told.started->code, told.started->volume) : "");
}

TEST(event_receiver, tells_each_key_once_by_marker_end_and_sequence_number) {
    // Sequence number, marker, code, flags (end and volume), duration, what is told, in progress.
    const std::tuple<int, bool, int, int, int, std::string, bool> rows[] = {
        {10, false, 1, 10, 160, "", false}, // its first packet was lost
        {11, false, 1, 0x8A, 320, "", false},
        {12, true, 5, 0x4A, 0, "+5/10", true}, // bit 6 is no part of the volume
        {12, true, 5, 10, 0, "", true},
        {13, true, 6, 10, 160, "", true}, // nothing has lasted yet
        {14, true, 7, 12, 160, "-5/160+7/12", true},
        {14, true, 7, 12, 160, "", true},
        {15, false, 7, 12, 65535, "", true},
        {16, false, 7, 0x8C, 800, "-7/800", false},
        {16, false, 7, 0x8C, 800, "", false},
        {17, false, 7, 0x8C, 800, "", false},
        {18, true, 15, 0x80, 1, "+15/0", true}}; // begun and ended in one packet
    event_receiver keys;
    for (const auto& [sequence, marker, code, flags, duration, told, in_progress] : rows) {
        const std::uint8_t payload[] = {std::uint8_t(code), std::uint8_t(flags),
                                        std::uint8_t(duration >> 8), std::uint8_t(duration)};
        const rtp_view packet{
            .marker = marker, .sequence = std::uint16_t(sequence), .payload = payload};
        EXPECT_EQ(text_of(keys.take(packet)), told) << sequence;
        EXPECT_EQ(keys.in_progress(), in_progress) << sequence;
    }
}

TEST(code_watcher, collects_one_byte_of_each_of_the_three_packets_behind_the_mark) {
    const std::string mark("\xFE\xED\xFA\xCE");
    // An empty packet carries no byte, a mark begins anew, or ends one code and begins the next.
    std::string told;
    code_watcher codes;
    for (const std::string& body :
         {mark.substr(0, 3), mark, std::string(), std::string("a.."), std::string("b"),
          std::string("c"), std::string("d"), mark + "x", std::string("1"), mark, std::string("2"),
          std::string("3"), mark, std::string("4"), std::string("5"), std::string("6")}) {
        const std::string packet = std::string(rtp_header_bytes, 'h') + body;
        const auto code = codes.take(packet.data(), static_cast<int>(packet.size()));
        told += body + (code ? "(" + std::string(code->begin(), code->end()) + ")" : "");
    }
    EXPECT_EQ(told, "\xFE\xED\xFA" + mark + "a..bc(abc)d" + mark + "x1" + mark + "23" + mark +
                        "(23\xFE)456(456)");
}

/** A packet of a key, or with a duration of 0 only the time that passes before it. */
struct key_step {
    std::uint32_t timestamp;
    int duration;
    bool end = false;
    int code = 5;
    double after_s = 0.02;
};

TEST(key_receiver, tells_each_key_once_whatever_becomes_of_its_packets) {
    const key_step wait{0, 0, false, 0, 0.119}, longer{0, 0, false, 0, 0.002};
    const std::pair<std::vector<key_step>, std::string> rows[] = {
        {{{1000, 160}, {1000, 320}, {1000, 320}, {1000, 160}, {1000, 480}}, "+5 "},
        {{{1000, 480, true}, {1000, 480, true}, {1000, 320}}, "+5 -5:480 "},
        {{{1000, 480, true}, {2000, 160}, {1000, 480, true}}, "+5 -5:480 +5 "}, // late
        {{{3000, 640}, wait}, "+5 "},
        {{{3000, 640}, wait, longer, wait}, "+5 -5:640 "}, // its end packets were lost
        {{{5000, 160}, {9000, 160, false, 6}, {9000, 320, true, 6}}, "+5 -5:160 +6 -6:320 "},
        {{{0xFFFFFF00, 160, true}, {0x40, 160, true}}, "+5 -5:160 +5 -5:160 "},
        {{{0, 0xFFFF}, {0xFFFF, 1600}, {0xFFFF, 3200, true}}, "+5 -5:68735 "},    // of over 8 s
        {{{3'000'000'000, 160, true}, {10, 160, true}}, "+5 -5:160 +5 -5:160 "}}; // counts anew
    for (const auto& [steps, expected] : rows) {
        key_receiver keys;
        double now_s = 100.0;
        std::string told;
        for (const key_step& step : steps) {
            now_s += step.after_s;
            const key_receiver::changes changes =
                step.duration == 0
                    ? keys.expire(now_s)
                    : keys.put({1, step.timestamp, {step.code, step.end, 10, step.duration}},
                               now_s);
            for (const auto& [down, event] : std::span(changes.list).first(changes.count)) {
                told += (down ? "+" : "-") + std::to_string(event.code) +
                        (down ? " " : ":" + std::to_string(event.duration) + " ");
            }
        }
        EXPECT_EQ(told, expected);
        EXPECT_EQ(keys.pressed(), expected.ends_with("+5 ")) << expected;
    }
}

TEST(key_sender_test, sends_queued_keys_with_three_end_packets_and_a_pause) {
    key_sender full, keys;
    int taken = 0;
    while (taken < 1000 && full.press({1, 10, 101, 1})) {
        taken += 1;
    }
    EXPECT_LT(taken, 1000) << "waiting keys take bounded memory";
    keys.press({3, 10, 101, 2});
    keys.press({11, 10, 96, 1});
    std::ostringstream sent;
    for (std::uint32_t timestamp = 160; timestamp <= 160 * 10; timestamp += 160) {
        const auto packet = keys.next(timestamp);
        if (!packet) {
            sent << "audio ";
            continue;
        }
        sent << packet->payload_type << (packet->marker ? "m" : "") << "@" << packet->timestamp
             << "=" << int{packet->event[0]} << (packet->event[1] == (0x80 | 10) ? "e" : "")
             << (packet->event[2] << 8 | packet->event[3]) << " ";
    }
    EXPECT_EQ(sent.str(), "101m@160=3160 101@160=3e320 101@160=3e320 101@160=3e320 audio "
                          "96m@960=11e160 96@960=11e160 96@960=11e160 audio audio ");
}

class srtp_session_test : public testing::Test {
  protected:
    static void SetUpTestSuite() { srtp_init(); }
    static void TearDownTestSuite() { srtp_shutdown(); }

    /** Sends a packet through a session or takes it from there. @param packet  is changed */
    srtp_err_status_t pass(srtp_session& session, std::string& packet) {
        int len = static_cast<int>(packet.size());
        return &session == &receiver ? session.unprotect(packet.data(), len)
                                     : session.protect(packet.data(), len);
    }
    static std::string packet_of(int sequence, std::uint32_t ssrc) {
        const auto bytes = harness::rtp_packet_bytes(0, static_cast<std::uint16_t>(sequence), 1,
                                                     ssrc, std::vector<std::uint8_t>(160));
        return {bytes.begin(), bytes.end()};
    }

    const std::array<unsigned char, srtp_key_bytes> key{1, 2, 3};
    srtp_session receiver{ssrc_any_inbound, key};
    srtp_session sender{ssrc_any_outbound, key};
};

TEST_F(srtp_session_test, forgets_the_source_unused_longest_and_never_its_own) {
    constexpr std::uint32_t own = 1, prompt = 2, others = 1'000;
    const auto in_packet = [](std::uint32_t source) {
        std::memcpy(&source, &packet_of(0, source)[8], sizeof source);
        return source;
    };
    const auto send = [this](int sequence, std::uint32_t source) {
        std::string packet = packet_of(sequence, source);
        EXPECT_EQ(pass(sender, packet), srtp_err_status_ok) << source;
        EXPECT_NE(packet, packet_of(sequence, source)) << source << " went out in clear";
        return packet;
    };
    sender.keep(in_packet(own));
    const std::string before_wrap = send(65535, own), first_of_prompt = send(1, prompt);
    const auto send_once_around = [&send] { // so that the state makes a difference
        for (const int sequence : {40'000, 65535, 0}) {
            send(sequence, prompt);
        }
    };
    send_once_around();
    for (std::uint32_t source = others; source < others + 300; ++source) {
        send(9, source);
    }
    std::string after_wrap = send(0, own), packet = before_wrap;
    EXPECT_EQ(send(0, own), after_wrap) << "repeated";
    EXPECT_EQ(pass(receiver, packet), srtp_err_status_ok);
    EXPECT_EQ(pass(receiver, after_wrap), srtp_err_status_ok);
    EXPECT_EQ(after_wrap, packet_of(0, own)) << "the roll-over was forgotten";
    EXPECT_EQ(send(65535, own), before_wrap);
    send(32800, own); // long past
    EXPECT_EQ(send(1, prompt), first_of_prompt) << "its place was needed";
    send_once_around();
    sender.forget(in_packet(prompt));
    EXPECT_EQ(send(1, prompt), first_of_prompt) << "it has ended";
}

TEST_F(srtp_session_test, invented_sources_shut_out_neither_a_party_nor_its_new_source) {
    const auto understood = [this](int sequence, std::uint32_t source) {
        std::string packet = packet_of(sequence, source);
        return pass(sender, packet) == srtp_err_status_ok &&
               pass(receiver, packet) == srtp_err_status_ok &&
               packet == packet_of(sequence, source);
    };
    std::uint32_t invented = 1'000;
    for (const auto& [sequence, source] :
         {std::pair(65535, 1U), std::pair(0, 1U), std::pair(1, 1U), std::pair(2, 1U),
          std::pair(7, 2U), std::pair(3, 1U), std::pair(8, 2U)}) {
        EXPECT_TRUE(understood(sequence, source)) << sequence;
        for (int count = 0; count < 100; ++count) {
            std::string packet = packet_of(9, ++invented);
            EXPECT_EQ(pass(receiver, packet), srtp_err_status_ok);
        }
    }
    std::string packet = packet_of(2, 1);
    EXPECT_EQ(pass(receiver, packet), srtp_err_status_replay_fail);
    packet.resize(11);
    EXPECT_EQ(pass(receiver, packet), srtp_err_status_bad_param);
}

TEST(sap_sdp_text, is_exact_and_cut_to_its_size) {
    sap_description described{0xFFFFFFFF, "news, (1)", "10.0.0.1", "239.1.2.3",
                              5004,       18,          "G729",     8000};
    const std::string text = "v=0\no=vocalink 4294967295 0 IN IP4 10.0.0.1\ns=news, (1)\n"
                             "c=IN IP4 239.1.2.3\nt=3913056000 0\na=recvonly\n"
                             "m=audio 5004 RTP/AVP 18\na=rtpmap:18 G729/8000\na=type:broadcast\n";
    EXPECT_EQ(sap_sdp_text(described, 3913056000), text);
    described.name.assign(600, 'x');
    EXPECT_EQ(sap_sdp_text(described, 0),
              (text.substr(0, text.find("news")) + described.name).substr(0, 511));
}

} // namespace
} // namespace vocalink
