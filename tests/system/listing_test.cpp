// SPDX-License-Identifier: GPL-3.0-or-later
// Lists for controllers and tables for the log, of every kind of stream.
#include "system_test.hpp"

namespace vocalink::system_tests {

class listing_test : public system_test {
  protected:
    /** @return what the log has of a table that is shown now */
    std::string shown(const std::string& command) {
        const std::size_t before = daemon->log().size();
        expect_reply("show " + command, "SUCCESS");
        const std::string log = daemon->log().substr(before);
        const auto begin = log.find('\n') + 1; // behind the command
        std::istringstream lines(
            log.substr(begin, log.find("-> connection(1): SUCCESS\n") - begin));
        std::string table;
        for (std::string line; std::getline(lines, line);) {
            // A sound player that is missing says so on the same standard error, at any time.
            if (line.starts_with("->  ") || line.starts_with("    ")) {
                table += line + "\n";
            }
        }
        return table;
    }
};

TEST_F(listing_test, every_kind_of_stream_is_listed_and_shown_in_its_own_way) {
    start();
    const std::string header =
        "                Stream ID     In/Drop   Out/Drop   Approx Jitter R? Streams\n";
    expect_reply("list streams", "SUCCESS ");
    expect_reply("list bridges", "SUCCESS ");
    EXPECT_EQ(shown("streams") + shown("bridges"), header);
    const std::string sound = daemon->directory_path() + "/a,b.ulaw", x = "\"x,(1) \\\\\"";
    std::ofstream(sound) << std::string(320, 'x');
    local_ip = "127.0.20.1";
    control->send(new_stream(x, "PCMU", 4000) + "\n" + new_stream("B", "G729", 65535) +
                  "\nnew sound_stream s,s " + sound +
                  " loop PCMU\nnew dtmf_stream d,d 5 100 101\nnew tone_stream t DTMF OFF\n"
                  "new alsa_stream u\nnew vocalink b,(2)\nnew vocalink A\n"
                  "set stream B targets y x\nset stream s,s targets y x\n"
                  "set stream s,s restricted\n");
    for (int i = 0; i < 11; ++i) {
        EXPECT_TRUE(control->read_line()->starts_with("SUCCESS")) << i;
    }
    const std::string rtp_b = "(B,0,127.000.020.001,6002,127.000.020.001,65535)";
    const std::string rtp_x = "(x\\,\\(1\\) \\,0,127.000.020.001,6000,127.000.020.001,4000)";
    const std::string player = "(s\\,s,0,,soundstream," + sound + "loop)";
    expect_reply("list streams", "SUCCESS " + rtp_b + ",(FIXME)," + player + ",(),()," + rtp_x);
    const std::string row = "->  STREAM ", counts = "      0/  0      0/  0    0.00ms        ";
    const std::string row_b = row + "              B" + counts;
    const std::string row_x = row + "        x,(1) \\" + counts + "F\n";
    const std::string row_s = row + "            s,s                 0/  0 T x y\n";
    EXPECT_EQ(shown("streams"),
              header + row_b + "F\n" + row + "\n" + row_s + row + "\n" + row + "\n" + row_x);
    expect_reply("set stream B restricted", "SUCCESS");
    EXPECT_EQ(shown("streams " + x + " none B B"),
              header + row_x + row_b + "T x y\n" + row_b + "T x y\n");
    EXPECT_EQ(shown("streams none"), header);

    const std::string ruler = " " + std::string(77, '-') + "\n";
    const std::string table_a = "->  BRIDGE A" + ruler + header;
    const std::string table_b = "->  BRIDGE b,(2)" + ruler + header;
    expect_reply("join b,(2) " + x, "SUCCESS");
    EXPECT_EQ(shown("bridges"), table_a + table_b + row_x);
    EXPECT_EQ(shown("bridges none b,(2) A"), table_b + row_x + table_a);
    expect_reply("join b,(2) B", "SUCCESS");
    expect_reply("list bridges", "SUCCESS A,(),b\\,\\(2\\),(" + rtp_b + "," + rtp_x + ")");
    harness::controller other(daemon->socket_path());
    EXPECT_EQ(other.command("list streams") + other.command("list bridges"), "SUCCESS SUCCESS ");
}

} // namespace vocalink::system_tests
