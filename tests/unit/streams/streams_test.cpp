// SPDX-License-Identifier: GPL-3.0-or-later
// Local ports, and the RTP endpoint against a far end on the loopback network.
#include "rtp/rtp_ports.hpp"
#include "streams/conference_leg.hpp"
#include "streams/rtp_stream.hpp"
#include "streams/tone_stream.hpp"
#include "unit_test.hpp"

namespace vocalink {
namespace {

using harness::rtp_packet_bytes;

TEST(rtp_ports, go_up_by_two_and_around) {
    rtp_ports ports(usual_ports);
    ports.rewind(64996);
    EXPECT_EQ((std::array{ports.take(), ports.take(), ports.take()}),
              (std::array{64996, 64998, 6000}));
}

TEST(rtp_ports, are_read_as_a_range_with_an_even_port) {
    const auto read = parse_port_range("7001-7003");
    EXPECT_TRUE(read && read->first == 7002 && read->last == 7002);
    for (const char* text : {"", "-", "7000", "7000-", "-7000", "7001-7001", "7002-7000", "0-7000",
                             "7000-65536", "7000-7002x", " 7000-7002", "7000--7002"}) {
        EXPECT_FALSE(parse_port_range(text)) << text;
    }
}

TEST(rtp_ports, of_other_streams_are_known_until_they_are_given_back) {
    held_ports held;
    for (const int port : {6000, 6014, 6016, 64998}) { // two at the ends of blocks
        held.take(1, port);
        EXPECT_TRUE(held.collide(1, port) && !held.collide(2, port) && !held.collide(1, port - 2));
        held.take(INADDR_ANY, port);
        held.give_back(1, port);
        EXPECT_TRUE(held.collide(1, port) && held.collide(2, port));
        held.give_back(INADDR_ANY, port);
        EXPECT_FALSE(held.collide(1, port));
    }
}

TEST(rtp_totals, never_go_back) {
    rtp_totals totals;
    rtp_figures told{}, present{};
    for (const int lost : {5, 3, 5, 6}) { // a packet that comes late is no longer lost
        present[lost_packets] = lost;
        totals.add(told, present);
    }
    EXPECT_EQ(totals.figures()[lost_packets], 6);
}

bytes event(int sequence, std::uint32_t timestamp, bool marker, std::uint8_t duration_by_256) {
    return rtp_packet_bytes(101, sequence, timestamp, 9, bytes{5, 10, duration_by_256, 0}, marker);
}

struct notices {
    void take(std::string notice) { text += notice; }
    std::string text;
};

std::uint16_t port_of(const rtp_stream& s) {
    return static_cast<std::uint16_t>(std::stoi(s.local_port()));
}

class rtp_stream_test : public loop_test {
  protected:
    rtp_stream make(std::string id, std::string encoding) {
        return rtp_stream(id, "127.7.0.1", "127.7.0.2", far.port(), encoding);
    }
    static int relay(rtp_stream& by, const bytes& packet, int len) {
        return by.write_outgoing(reinterpret_cast<const char*>(packet.data()), len);
    }

    harness::rtp_peer far{"127.7.0.2"};
    rtp_stream s = make("s,(1)", "PCMU");
};

TEST_F(rtp_stream_test, numbers_its_own_packets_and_sends_nothing_uninitialised) {
    const std::tuple<const char*, int, std::size_t, int, int> rows[] = {
        {"", 0, 160, 160, 0xFF},   {"G711A", 8, 160, 160, 0xD5}, {"G722", 9, 160, 160, 0xFC},
        {"G729", 18, 20, 160, -1}, {"ILBC20", 109, 38, 160, -1}, {"ILBC30", 109, 50, 240, -1}};
    std::set<std::uint32_t> ssrcs;
    for (const auto& [encoding, payload_type, payload_bytes, step, idle] : rows) {
        rtp_stream sender = make("x", encoding);
        for (int count = 1; count <= 2; ++count) {
            sender.write_outgoing(nullptr, 0);
            const bytes packet = far.receive().value();
            const auto [type, marker, number, time, ssrc, payload] = harness::parse_rtp(packet);
            EXPECT_EQ(std::tuple(type, marker, number, time, payload.size()),
                      std::tuple(payload_type, count == 1, count, count * step, payload_bytes));
            EXPECT_EQ(idle < 0 ? 160 : std::count(payload.begin(), payload.end(), idle), 160);
            ssrcs.insert(ssrc);
        }
    }
    EXPECT_EQ(ssrcs.size(), std::size(rows));
}

TEST_F(rtp_stream_test, relays_events_under_its_own_numbers_and_leaves_the_packets_alone) {
    // Marker, then what is sent: sequence number, timestamp, duration in units of 256.
    const std::tuple<bool, int, std::uint32_t, std::uint8_t> rows[] = {
        {false, 1, 0xFFFFFFFF, 2}, {true, 2, 960, 0}, {false, 3, 960, 2}, {true, 4, 1920, 0}};
    rtp_stream other = make("other", "G729");
    for (rtp_stream* each : {&s, &other}) {
        for (const auto& [marker, sequence, timestamp, duration] : rows) {
            const bytes packet = event(30000, 7000, marker, 2), copy(packet.begin(), packet.end());
            EXPECT_EQ(relay(*each, packet, 15) + relay(*each, packet, 16), 16);
            EXPECT_EQ(far.receive(), event(sequence, timestamp, marker, duration));
            EXPECT_EQ(packet, copy);
        }
    }
}

TEST_F(rtp_stream_test, silence_clears_as_many_samples_as_the_frame_has_bytes) {
    rtp_stream compressed = make("x", "G729");
    std::fill_n(compressed.incoming_packet(), 160, short{7});
    compressed.clear_incoming_buffer();
    EXPECT_EQ(std::count(compressed.incoming_packet(), compressed.incoming_packet() + 160, 7), 140);
}

TEST_F(rtp_stream_test, tells_empty_packets_from_short_ones_and_counts_those_that_were_refused) {
    testing::internal::CaptureStderr();
    for (const int len : {0, 0, 100, 100}) {
        EXPECT_EQ(relay(s, rtp_packet_bytes(0, 1, 1, 1, bytes(160)), len), 0);
    }
    const std::string note =
        "\n-- stream(s,(1)): future packet size mismatches for stream will be suppressed\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "packet size mismatch: 160 > 0" + note + "packet size mismatch: 172 > 100" + note);
    s.set_stream_endpoint("127.7.0.2", 0); // which the system refuses
    EXPECT_EQ(s.write_outgoing(nullptr, 0), 0);
    std::ostringstream stats;
    s.output_stats(stats);
    EXPECT_EQ(stats.str(), " incoming_packets=0 outgoing_packets=1 packet_write_failures=1");
}

TEST_F(rtp_stream_test, translates_the_payload_types_that_its_far_end_has_named) {
    harness::rtp_peer partner("127.7.0.3");
    rtp_stream a = make("a", "ILBC20"),
               plain("b", "127.7.0.1", "127.7.0.3", partner.port(), "ILBC20");
    a.set_stream_payload(97);
    a.set_stream_events(98);
    EXPECT_EQ(a.write_outgoing(nullptr, 0), 50);
    EXPECT_EQ(far.receive().value()[1], 0x80 | 97);
    const bytes voice(38, 'v');
    EXPECT_EQ(relay(a, rtp_packet_bytes(109, 5, 6, 7, voice), 50), 50);
    EXPECT_EQ(far.receive(), rtp_packet_bytes(97, 5, 6, 7, voice));
    EXPECT_EQ(relay(a, event(1, 2, true, 3), 16), 16);
    EXPECT_EQ(far.receive().value()[1], 0x80 | 98);

    far.send_to("127.7.0.1", port_of(a), rtp_packet_bytes(97, 8, 9, 10, voice));
    bytes received(max_packet_bytes);
    char* const packet = reinterpret_cast<char*>(received.data());
    EXPECT_EQ(a.read_incoming_rtp(packet, max_packet_bytes, false), 50);
    plain.write_outgoing(packet, 50);
    EXPECT_EQ(partner.receive(), rtp_packet_bytes(109, 8, 9, 10, voice));

    notices told{};
    a.notify_signal.connect(&told, &notices::take);
    bytes key = event(20, 0, true, 1);
    key[1] = 0x80 | 98;
    far.send_to("127.7.0.1", port_of(a), key);
    EXPECT_EQ(a.read_incoming_rtp(packet, max_packet_bytes, false), 0);
    EXPECT_EQ(told.text, "DTMF_START STREAM a EVENT 5 VOLUME 10");
}

TEST_F(rtp_stream_test, drains_encrypted_packets_and_keeps_the_last) {
    srtp_init();
    const std::array<unsigned char, srtp_key_bytes> key{1};
    s.set_stream_encryption(key.data(), key.data());
    srtp_session sender(ssrc_any_outbound, key);
    for (const std::uint8_t number : {1, 2}) {
        bytes packet = rtp_packet_bytes(PCMU, number, 160U * number, 7, bytes(160, number));
        int len = static_cast<int>(packet.size());
        EXPECT_EQ(sender.protect(reinterpret_cast<char*>(packet.data()), len), srtp_err_status_ok);
        far.send_to("127.7.0.1", port_of(s), packet);
    }
    std::array<char, max_packet_bytes> last{};
    EXPECT_EQ(s.read_incoming_rtp(last.data(), max_packet_bytes, true), 172);
    EXPECT_EQ(std::count(last.begin() + 12, last.end(), 2), 160);
}

// Two endpoints are each other's far end, as in two conferences.
TEST_F(rtp_stream_test, digits_survive_every_codec_of_a_conference) {
    for (const std::string encoding : {"PCMU", "G711A", "G722", "ILBC20", "ILBC30", "G729"}) {
        rtp_stream here("here", "127.7.0.1", "127.7.0.1", 9, encoding),
            there("there", "127.7.0.1", "127.7.0.1", port_of(here), encoding);
        here.set_stream_endpoint("127.7.0.1", port_of(there));
        tone_stream keys("keys", DTMF, false), ear("ear", DTMF, true);
        const std::string digits = encoding == "G729" ? "159#" : "159#2468";
        keys.put_tones(digits);
        const auto speaker = keys.make_conference_leg(), sender = here.make_conference_leg(),
                   receiver = there.make_conference_leg(), listener = ear.make_conference_leg();
        for (double now_s = 100; now_s < 102.5; now_s += 0.02) {
            const auto said_by = [now_s](conference_leg& leg) {
                tick_frame frame{};
                if (const auto said = leg.speak(now_s)) {
                    std::ranges::copy(*said, frame.begin());
                }
                return frame;
            };
            sender->hear(said_by(*speaker), now_s);
            listener->hear(said_by(*receiver), now_s);
        }
        EXPECT_EQ(ear.tones_detected(true), digits) << encoding;
    }
}

/** A far end that answers each notice of a stream with another packet that makes two. */
struct flood {
    void next(std::string) {
        if (sequence < 3000) {
            far.send_to("127.7.0.1", port, event(++sequence, 0, true, 1));
        }
    }
    harness::rtp_peer& far;
    std::uint16_t port;
    int sequence = 0;
};

TEST_F(rtp_stream_test, drains_a_bounded_number_of_packets) {
    flood flooding{far, port_of(s)};
    s.notify_signal.connect(&flooding, &flood::next);
    flooding.next("");
    while (flooding.sequence == 1) {
        s.read_incoming_rtp(nullptr, 0, true);
    }
    EXPECT_LT(flooding.sequence, 3000);
}

} // namespace
} // namespace vocalink
