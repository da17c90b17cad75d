// SPDX-License-Identifier: GPL-3.0-or-later
// A digit that the daemon sends, and that the daemon itself receives.
#include "harness/controller.hpp"
#include "scenes.hpp"

#include <iostream>

namespace vocalink::demo {

namespace {

/** Makes hotline, a stream that listens, and trunk, whose packets go to hotline. Each is in a
 *  bridge: elsewhere and dialling. */
void connect_trunk_to_hotline(dialogue& control) {
    const std::string reply = control.say("new rtp_stream hotline 127.0.0.1 127.0.0.1 9 PCMU",
                                          "its far end will be whoever sends to it",
                                          "the port that the digit will go to");
    control.say("new rtp_stream trunk 127.0.0.1 127.0.0.1 " +
                    std::to_string(harness::port_in_reply(reply)) + " PCMU",
                "it sends to hotline's port");
    control.say("new vocalink elsewhere", "a bridge for hotline");
    control.say("join elsewhere hotline", "in a bridge a stream reads what comes");
    control.say("new vocalink dialling", "a bridge for the sender");
    control.say("join dialling trunk", "it waits for somebody to speak to it");
}

} // namespace

std::vector<std::string> sent_digit(dialogue& control, const places&) {
    std::cout << "\nScene 3: a digit is sent as telephone events. The far end of the stream that\n"
                 "sends it is another stream of this daemon, which reports it.\n";
    connect_trunk_to_hotline(control);
    control.say("new dtmf_stream digit 7 100 101", "the digit 7, 100 ms, payload type 101");
    control.say("join dialling digit", "it is sent from now on");

    control.hear("DTMF_START STREAM hotline EVENT 7 VOLUME 10", "hotline has received the 7");
    control.hear("DTMF_END STREAM hotline EVENT 7 VOLUME 10 DURATION 640",
                 "and its end: 4 packets of 160 each");
    control.hear("TIMEOUT STREAM digit incoming_packets=7 outgoing_packets=0",
                 "the digit is over and its stream gone");

    std::vector<std::string> faults;
    const std::string sent =
        control.say("delete stream trunk", "trunk has done its work", "7 packets sent");
    const std::string received =
        control.say("delete stream hotline", "and so has hotline", "7 packets received");
    if (!sent.starts_with("SUCCESS incoming_packets=0 outgoing_packets=7") ||
        !received.starts_with("SUCCESS incoming_packets=7 outgoing_packets=0")) {
        faults.emplace_back("the digit was not 7 packets from trunk to hotline");
    }
    control.say("delete bridge dialling", "empty by now");
    control.say("delete bridge elsewhere", "empty as well");
    return faults;
}

} // namespace vocalink::demo
