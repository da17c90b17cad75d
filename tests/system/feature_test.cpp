// SPDX-License-Identifier: GPL-3.0-or-later
// The features of streams as commands: who hears whom on the wire.
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
};

TEST_F(feature_test, mix_follows_every_rule_alone_and_combined) {
    start();
    auto legs = new_call({"PCMU", "PCMU", "PCMU"}); // an agent, a customer and a supervisor, who...
    wait_until_read(legs[0]);                       // the first cycle of a mix drops what waits
    const std::pair<std::string, std::string> story[] = {
        {"set stream a targets nobody;set stream a sources nobody", "bc ac ab"},
        {"set stream c restricted", "b a ab"},     // ... listens
        {"set stream c targets d a a", "bc a ab"}, // ... whispers
        {"set stream c selective;set stream c sources x b", "bc a b"},
        {"set stream b restricted;set stream b targets a", "bc a -"},
        {"set stream c sources b a;clear stream c targets more words", "b a a"},
        {"clear stream b restricted;clear stream c restricted", "bc ac ab"},
        {"set stream b restricted;clear stream b targets;clear stream c sources", "c ac -"},
        {"clear stream c selective", "c ac a"}};
    for (const auto& [commands, expected] : story) {
        std::istringstream words(commands);
        for (std::string command; std::getline(words, command, ';');) {
            expect_reply(command, "SUCCESS");
        }
        EXPECT_EQ(who_hears_whom(legs), expected) << commands;
    }
}

} // namespace vocalink::system_tests
