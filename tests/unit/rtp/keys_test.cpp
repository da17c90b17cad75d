// SPDX-License-Identifier: GPL-3.0-or-later
// Keys as telephone events of a conference: told once each, and sent as the RFC lays them out.
#include "rtp/key_receiver.hpp"
#include "rtp/key_sender.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace vocalink {
namespace {

class key_receiver_test : public testing::Test {
  protected:
    /** Takes a packet of key 5, 20 ms after the one before. */
    void packet(std::uint32_t timestamp, int duration, bool end = false, int event = 5) {
        now_s += 0.02;
        note(keys.put({1, timestamp, {event, end, 10, duration}}, now_s));
    }
    void wait(double s) {
        now_s += s;
        note(keys.expire(now_s));
    }
    void note(const key_receiver::changes& changes) {
        for (int i = 0; i < changes.count; ++i) {
            const auto& change = changes.list[static_cast<std::size_t>(i)];
            text << (change.down ? "+" : "-") << change.event.code;
            if (!change.down) {
                text << ":" << change.event.duration;
            }
            text << " ";
        }
    }
    /** What has been told since the last call. */
    std::string told() {
        std::string all = text.str();
        text.str("");
        return all;
    }

    key_receiver keys;
    double now_s = 100.0;
    std::ostringstream text;
};

TEST_F(key_receiver_test, tells_a_key_once_however_its_packets_are_doubled_or_late) {
    for (const int duration : {160, 320, 320, 160, 480}) {
        packet(1000, duration);
    }
    EXPECT_TRUE(keys.pressed());
    packet(1000, 480, true);
    packet(1000, 480, true);
    packet(1000, 320);
    EXPECT_EQ(told(), "+5 -5:480 ");
    EXPECT_FALSE(keys.pressed());
    packet(2000, 160);
    packet(1000, 480, true); // of the key before
    packet(2000, 320, true);
    EXPECT_EQ(told(), "+5 -5:320 ");
}

TEST_F(key_receiver_test, tells_a_key_of_which_only_a_part_arrives) {
    packet(1000, 480, true); // nothing but an end packet
    EXPECT_EQ(told(), "+5 -5:480 ");
    packet(3000, 640); // no end packet
    wait(0.119);
    EXPECT_EQ(told(), "+5 ");
    wait(0.002);
    wait(1.0);
    EXPECT_EQ(told(), "-5:640 ");
    packet(5000, 160);
    packet(9000, 160, false, 6); // the next key says that the one before is over
    packet(9000, 320, true, 6);
    EXPECT_EQ(told(), "+5 -5:160 +6 -6:320 ");
}

TEST_F(key_receiver_test, follows_wrapped_segmented_and_restarted_timestamps) {
    packet(0xFFFFFF00, 160, true);
    packet(0x40, 160, true);
    EXPECT_EQ(told(), "+5 -5:160 +5 -5:160 ");
    packet(100'000, 0xFFFF);
    packet(100'000 + 0xFFFF, 1600);
    packet(100'000 + 0xFFFF, 3200, true);
    EXPECT_EQ(told(), "+5 -5:68735 "); // one key of over 8 s
    packet(3'000'000'000, 160, true);
    packet(10, 160, true); // far back: the far end counts anew
    EXPECT_EQ(told(), "+5 -5:160 +5 -5:160 ");
}

TEST(key_sender_test, sends_queued_keys_with_three_end_packets_and_a_pause) {
    key_sender keys;
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

} // namespace
} // namespace vocalink
