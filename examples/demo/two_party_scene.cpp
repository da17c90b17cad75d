// SPDX-License-Identifier: GPL-3.0-or-later
// A two-party call with a key press.
#include "call.hpp"
#include "conversation.hpp"

#include <iostream>

namespace vocalink::demo {

namespace {

/** Has the first leg press a key: the controller hears of it, the other leg does not. */
std::vector<std::string> key_press(dialogue& control, std::span<leg> legs, int event) {
    std::cout << "\n  ... " << legs[0].name() << " presses the key " << event << " ..."
              << std::endl;
    press_key(legs, legs[0], event);
    const std::string subject = " STREAM " + legs[0].name() + " EVENT " + std::to_string(event);
    control.hear("DTMF_START" + subject + " ", "a notice: the key is down");
    control.hear("DTMF_END" + subject + " ", "the key is up again");
    std::cout << "  (" << legs[0].event_packets_sent() << " telephone-event packets sent, "
              << legs[1].other_packets_received() << " passed on to " << legs[1].name()
              << ": the daemon reports keys and keeps them)\n";
    if (legs[1].other_packets_received() != 0) {
        return {legs[1].name() + " received telephone events of " + legs[0].name()};
    }
    return {};
}

} // namespace

std::vector<std::string> two_party_call(dialogue& control, const places& where) {
    std::vector<leg> legs;
    legs.push_back(make_leg(where, "anna", "PCMU"));
    legs.push_back(make_leg(where, "bruno", "PCMU"));
    std::cout << "\nScene 1: a call of two. Same codec, so packets are passed on as they are.\n";
    for (leg& each : legs) {
        create(control, each);
    }
    control.say("new vocalink call", "a bridge joins legs");
    control.say("join call anna", "alone in it, unheard");
    control.say("join call bruno", "two: now they are connected");

    std::cout << "\n  ... both speak ..." << std::endl;
    const std::size_t frames = everyone_speaks(legs);
    listen_until(legs, patience, [&] { return everyone_heard(legs, frames); });

    std::vector<std::string> faults = key_press(control, legs, 5);
    end_call(control, legs, "call");
    for (const std::string& fault : judge(legs, where, "call")) {
        faults.push_back(fault);
    }
    return faults;
}

} // namespace vocalink::demo
