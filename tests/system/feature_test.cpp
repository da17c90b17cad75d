// SPDX-License-Identifier: GPL-3.0-or-later
// The features of streams as commands: who hears whom on the wire, and where packets go.
#include "system_test.hpp"

#include <numeric>
#include <set>
#include <sstream>

namespace vocalink::system_tests {

class feature_test : public system_test {
  protected:
    /** Everybody speaks once. @return whom each party hears, as in "bc ac ab" */
    std::string who_hears_whom(std::vector<leg>& legs) {
        for (leg& each : legs) {
            each.forget_received();
        }
        for (leg& speaker : legs) {
            bytes voice(160, 0xFF);
            voice[static_cast<std::size_t>(&speaker - legs.data())] = 0x80; // a sample of his own
            speaker.send(pcmu, voice);
            wait_until_read(speaker);
        }
        std::string all;
        for (leg& listener : legs) {
            std::set<std::string> heard;
            while (const auto packet = listener.phone.receive(0ms)) {
                for (std::size_t i = 0; i < legs.size(); ++i) {
                    heard.insert(packet->at(12 + i) == 0xFF ? "" : legs[i].id);
                }
            }
            const std::string ids = std::accumulate(heard.begin(), heard.end(), std::string());
            all += (all.empty() ? "" : " ") + (ids.empty() ? "-" : ids);
        }
        return all;
    }

    /** @param story  lines of whom each party hears, and the commands before, separated by ';' */
    void follow(std::vector<leg> legs, const std::string& story) {
        wait_until_read(legs[0]); // the first cycle of a mix drops what waits
        std::istringstream lines(story);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream commands(line.substr(line.find('|') + 1));
            for (std::string command; std::getline(commands, command, ';');) {
                expect_reply(command, "SUCCESS");
            }
            EXPECT_EQ(who_hears_whom(legs), line.substr(0, line.find('|'))) << line;
        }
    }
};

TEST_F(feature_test, mix_follows_every_rule_alone_and_combined) {
    start();
    follow(new_call({"PCMU", "PCMU", "PCMU"}), // an agent, a customer and a supervisor, who...
           "bc ac ab|set stream a targets nobody;set stream a sources nobody\n"
           "b a ab|set stream c restricted\n"                                // ... listens
           "bc a ab|set stream c targets d a b;set stream c targets d a a\n" // ... whispers
           "bc a b|set stream c selective;set stream c sources x b\n"
           "bc a -|set stream b restricted;set stream b targets a\n"
           "bc a -|set stream c sources\n"
           "b a a|set stream c sources b a;clear stream c targets more words\n"
           "bc ac ab|clear stream b restricted;clear stream c restricted;clear stream c selective\n"
           "c c -|set stream b restricted;clear stream b targets;set stream a restricted;"
           "set stream c selective\n"
           "bc ac -|clear stream a restricted;clear stream b restricted;clear stream c sources\n");
}

TEST_F(feature_test, pair_follows_every_rule) {
    start();
    follow(new_call({"PCMU", "PCMU"}), "b a|clear stream a targets\n"
                                       "b -|set stream a restricted\n"
                                       "b a|set stream a targets x b y\n"
                                       "b -|set stream b selective\n"
                                       "b a|set stream b sources a\n"
                                       "- a|clear stream a restricted;set stream b restricted\n"
                                       "- -|set stream b sources c\n"
                                       "b a|clear stream b restricted;clear stream b selective\n");
}

TEST_F(feature_test, endpoint_moves_until_the_next_packet_comes) {
    start();
    auto legs = new_call({"PCMU", "PCMU"});
    harness::rtp_peer elsewhere(local_ip);
    expect_reply("set stream a endpoint " + local_ip + " " + std::to_string(elsewhere.port()),
                 "SUCCESS");
    for (const std::string refused : {"1.2.3.4", "1.2.3.4 5 6", ""}) {
        expect_reply("set stream a endpoint " + refused, "ERROR invalid endpoint");
    }
    expect_reply("set stream a endpoint 1.2.3 5", "ERROR STREAM_ERROR invalid endpoint");
    const bytes moved = legs[1].send(pcmu, bytes(160));
    EXPECT_EQ(elsewhere.receive(), moved);
    const bytes back = legs[0].send(pcmu, bytes(160));
    EXPECT_EQ(legs[1].phone.receive(), back);
    const bytes latched = legs[1].send(pcmu, bytes(160));
    EXPECT_EQ(legs[0].phone.receive(), latched);
    expect_reply("new dtmf_stream d 5 100 101", "SUCCESS");
    expect_reply("set stream d endpoint x y", "SUCCESS");
    expect_reply("set stream d encryption " + std::string(30, 'k') + " " + std::string(30, 'k'),
                 "SUCCESS");
    EXPECT_EQ(occurrences(daemon->log(), " not implemented for this stream type!\n"), 2);
}

} // namespace vocalink::system_tests
