// SPDX-License-Identifier: GPL-3.0-or-later
// The metrics file that option -m asks for.
#include "system_test.hpp"

#include <filesystem>
#include <map>
#include <regex>
#include <sstream>

namespace vocalink::system_tests {

class metrics_test : public system_test {
  protected:
    /** What the file says of a sample, "name{own labels}" or "name"; -1 when it says nothing. */
    double value(const std::string& sample) {
        const std::string label = "socket=\"" + daemon->socket_path() + "\"";
        const std::regex common("\\{" + label + "\\}|" + label + ",");
        const std::string all = std::regex_replace(content(path), common, "");
        const auto at = all.find("\n" + sample + " ");
        return at == std::string::npos ? -1 : std::stod(all.substr(at + sample.size() + 2));
    }
    void expect_values(const std::map<std::string, double>& expected) {
        EXPECT_TRUE(eventually(
            [&] {
                return std::all_of(expected.begin(), expected.end(), [&](const auto& sample) {
                    return value("vocalink_" + sample.first) == sample.second;
                });
            },
            12s))
            << content(path);
    }

    harness::temporary_directory directory;
    const std::string folder = directory.path() + "/folder";
    const std::string path = folder + "/vocalink.prom";
};

TEST_F(metrics_test, file_tells_what_was_sent_and_goes_with_the_daemon) {
    start({"-m", path});
    EXPECT_TRUE(daemon->wait_for_log("-- metrics: could not write " + path +
                                     ": No such file or directory, trying again\n"));
    std::filesystem::create_directory(folder);

    auto legs = new_call({"PCMU", "PCMU"});
    legs[0].send(pcmu, bytes(161, 1));
    legs[0].send(55, bytes(160, 1));
    legs[0].send({1, 2});
    for (int i = 0; i < 3; ++i) {
        legs[0].send(pcmu, bytes(160, 1));
        ASSERT_TRUE(legs[1].phone.receive());
    }
    legs[1].send(pcmu, bytes(160, 1));
    ASSERT_TRUE(legs[0].phone.receive());
    control->command("delete stream a");
    expect_reply("delete stream a", "ERROR can't find stream");

    leg talker = new_leg("talker", "G729");
    expect_reply("new conference room2", "SUCCESS");
    expect_reply("join room2 talker", "SUCCESS");
    talker.send(g729, bytes(20, 0));
    talker.sequence += 1;
    talker.send(g729, bytes(20, 0));
    EXPECT_TRUE(control->command("recording start talker r pcap").starts_with("SUCCESS "));

    harness::controller other(daemon->socket_path());
    for (int i = 0; i < 230; ++i) { // more than one turn of the loop goes through
        const std::string id = std::to_string(i);
        expect_reply("new vocalink " + id, "SUCCESS");
        EXPECT_EQ(other.command("new vocalink " + id), "SUCCESS");
    }

    expect_values({{"connections", 2},
                   {"streams{kind=\"rtp_stream\",codec=\"PCMU\"}", 1},
                   {"streams{kind=\"rtp_stream\",codec=\"G729\"}", 1},
                   {"bridges{kind=\"vocalink\",mode=\"drain\"}", 1},
                   {"bridges{kind=\"vocalink\",mode=\"empty\"}", 460},
                   {"bridges{kind=\"conference\",mode=\"mix\"}", 1},
                   {"rtp_received_packets_total", 6 + 1 + 2},
                   {"rtp_lost_packets_total", 1},
                   {"rtp_refused_packets_total{reason=\"not_rtp\"}", 1},
                   {"rtp_refused_packets_total{reason=\"unknown_payload_type\"}", 1},
                   {"rtp_refused_packets_total{reason=\"wrong_size\"}", 1},
                   {"recordings", 1},
                   {"commands_total{result=\"refused\"}", 1}});
    EXPECT_GE(value("vocalink_rtp_sent_packets_total"), 4);
    EXPECT_GT(value("vocalink_loop_busy_seconds_total"), 0);
    EXPECT_GE(value("vocalink_loop_lag_seconds{quantile=\"1\"}"),
              value("vocalink_loop_lag_seconds{quantile=\"0.99\"}"));
    EXPECT_TRUE(daemon->wait_for_log("-- metrics: " + path + " is written again\n"));
    if (std::system("promtool --version > /dev/null 2>&1") == 0) { // scripts/setup --develop
        EXPECT_EQ(std::system(("promtool check metrics < " + path + " 2>&1").c_str()), 0);
    }
    EXPECT_EQ(daemon->stop(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

} // namespace vocalink::system_tests
