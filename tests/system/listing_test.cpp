// SPDX-License-Identifier: GPL-3.0-or-later
// Lists for controllers and tables for the log, of every kind of stream.
#include "system_test.hpp"

namespace vocalink::system_tests {

const std::string stream_table =
    "                Stream ID     In/Drop   Out/Drop   Approx Jitter R? Streams";

using listing_test = system_test;

TEST_F(listing_test, ids_are_sorted_and_escaped_and_tables_follow_the_order_asked_for) {
    start();
    local_ip = "127.0.20.1";
    const std::string x = "\"x,(1) \\\\\"";
    control->send(new_stream(x, "PCMU", 4000) + "\n" + new_stream("B", "G729", 65535) +
                  "\nnew tone_stream u DTMF 0\nnew vocalink b,(2)\nnew vocalink A\njoin b,(2) " +
                  x + "\n");
    for (int i = 0; i < 6; ++i) {
        EXPECT_TRUE(control->read_line()->starts_with("SUCCESS")) << i;
    }
    const std::string rtp_b = "(B,0,127.000.020.001,6002,127.000.020.001,65535)";
    const std::string rtp_x = "(x\\,\\(1\\) \\,0,127.000.020.001,6000,127.000.020.001,4000)";
    expect_reply("list streams", "SUCCESS " + rtp_b + ",()," + rtp_x);
    expect_reply("list bridges", "SUCCESS A,(),b\\,\\(2\\),(" + rtp_x + ")");
    const std::string counts = "      0/  0      0/  0    0.00ms        F\n->  STREAM ";
    expect_reply("show streams none", "SUCCESS");
    expect_reply("show streams " + x + " none B B", "SUCCESS");
    EXPECT_TRUE(daemon->wait_for_log(stream_table + "\n-> connection(1): SUCCESS\n"));
    EXPECT_TRUE(daemon->wait_for_log(stream_table + "\n->  STREAM         x,(1) \\" + counts +
                                     "              B" + counts + "              B"));
    harness::controller other(daemon->socket_path());
    EXPECT_EQ(other.command("list streams") + other.command("list bridges"), "SUCCESS SUCCESS ");
}

} // namespace vocalink::system_tests
