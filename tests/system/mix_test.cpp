// SPDX-License-Identifier: GPL-3.0-or-later
// The mix of `new vocalink`: who hears whom, what, and at which pace.
#include "system_test.hpp"

namespace vocalink::system_tests {

using mix_test = running_daemon_test;

namespace {

/** A PCMU frame that repeats four samples. */
bytes frame_of(const std::array<std::uint8_t, 4>& repeated) {
    bytes frame(160);
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = repeated[i % 4];
    }
    return frame;
}

} // namespace

TEST_F(mix_test, three_parties_each_hear_the_exact_sum_of_the_others_every_30_ms) {
    auto legs = new_call({"PCMU", "PCMU"});
    legs.push_back(new_leg("c", "PCMU"));
    // 0 260 31100 -14972, 5372 -716 16764 -15996, -120 716 -27004 14460; worked out by hand.
    const std::array frames{frame_of({0xFF, 0xE7, 0x81, 0x12}), frame_of({0xAA, 0x55, 0x8F, 0x10}),
                            frame_of({0x70, 0xD5, 0x05, 0x93})};
    // 5252 0 -10240 -1536, -120 976 4096 -512, 5372 -456 32767 -30968, in the nearest codes.
    const std::array sums{frame_of({0xAA, 0xFF, 0x1B, 0x45}), frame_of({0x70, 0xCE, 0xAF, 0x5B}),
                          frame_of({0xAA, 0x5D, 0x80, 0x01})};
    for (int i = 0; i < 5; ++i) {
        legs[2].send(pcmu, frames[2]); // waits until its stream is read
    }
    expect_reply("join room c", "SUCCESS");
    EXPECT_TRUE(daemon->wait_for_log("-- stream (c): read 5 packets\n"));
    for (std::size_t i = 0; i < 30; ++i) {
        legs[i % 3].send(pcmu, frames[i % 3]);
    }
    for (std::size_t listener = 0; listener < legs.size(); ++listener) {
        EXPECT_TRUE(eventually(
            [&] { return std::ranges::equal(legs[listener].next().payload, sums[listener]); }));
    }
    legs[0].forget_received();
    ASSERT_TRUE(legs[0].phone.receive());
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(legs[0].phone.receive());
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    EXPECT_NEAR(elapsed.count(), 20 * 0.030 + 0.1, 0.2);
    wait_until_read(legs[2]);
    legs[0].forget_received();
    EXPECT_EQ(std::ranges::count(legs[0].next().payload, 0xFF), 160);
    // What waited for the first cycle counts once.
    EXPECT_TRUE(control->command("delete stream c").starts_with("SUCCESS incoming_packets=14 "));
}

} // namespace vocalink::system_tests
