// SPDX-License-Identifier: GPL-3.0-or-later
// A digit sent as telephone events, and one played as a pair of tones.
#include "stage.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <stdexcept>

namespace vocalink::demo {

namespace {

/** Takes in packets until one is not silent; its samples, which are stored as the machine does.
 *  @throws std::runtime_error when half a second brings none */
sound first_sound(harness::rtp_peer& telephone) {
    constexpr int half_a_second_packets = 25;
    for (int silent = 0; silent < half_a_second_packets; ++silent) {
        const auto packet = telephone.receive().value();
        const harness::rtp_view view = harness::parse_rtp(packet);
        sound samples(view.payload.size() / sizeof(std::int16_t));
        std::memcpy(samples.data(), view.payload.data(), samples.size() * sizeof(std::int16_t));
        if (std::ranges::any_of(samples, std::identity())) {
            std::printf("  ... %zu samples of sound at %.1f dBFS, after %d packets of silence "
                        "...\n",
                        samples.size(), level_dbfs(samples), silent);
            return samples;
        }
    }
    throw std::runtime_error("nothing but silence came from the tone stream");
}

/** Measures how the energy is shared out among the frequencies of digits.
 *  Nearly all of it has to be at the two of 5. */
void judge_tones(const sound& samples) {
    constexpr double enough = 0.8; // short samples blur into the neighbouring frequencies
    double of_pair = 0;
    bool others_are_less = true;
    std::printf("\n  share of energy:");
    for (const int hz : {697, 770, 852, 941, 1209, 1336, 1477, 1633}) {
        const bool is_of_5 = hz == 770 || hz == 1336; // ITU-T Q.23
        const double share = energy_share(samples, hz);
        std::printf("  %d Hz%s %.2f", hz, is_of_5 ? "*" : "", share);
        of_pair += is_of_5 ? share : 0;
        others_are_less &= is_of_5 == (share > enough / 4);
    }
    std::printf("\n  * the pair of 5, with %.2f of the energy\n", of_pair);
    check(of_pair >= enough && others_are_less, "the tone stream's 5 was another sound");
}

} // namespace

void sent_digit(dialogue& control, const places&) {
    std::puts("\nScene 3: a digit is sent as telephone events. The far end of the stream that\n"
              "sends it is another stream of this daemon, which reports it.");
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
    control.say("new dtmf_stream digit 7 100 101", "the digit 7, 100 ms, payload type 101");
    control.say("join dialling digit", "it is sent from now on");

    control.hear("DTMF_START STREAM hotline EVENT 7 VOLUME 10", "hotline has received the 7");
    control.hear("DTMF_END STREAM hotline EVENT 7 VOLUME 10 DURATION 640",
                 "and its end: 4 packets of 160 each");
    control.hear("TIMEOUT STREAM digit incoming_packets=7 outgoing_packets=0",
                 "the digit is over and its stream gone");
    const std::string sent =
        control.say("delete stream trunk", "trunk has done its work", "7 packets sent");
    const std::string received =
        control.say("delete stream hotline", "and so has hotline", "7 packets received");
    control.say("delete bridge dialling", "empty by now");
    control.say("delete bridge elsewhere", "empty as well");
    check(sent.starts_with("SUCCESS incoming_packets=0 outgoing_packets=7") &&
              received.starts_with("SUCCESS incoming_packets=7 outgoing_packets=0"),
          "the digit was not 7 packets from trunk to hotline");
}

void played_tones(dialogue& control, const places&) {
    std::puts("\nScene 4: a digit is played as tones to a telephone. A tone stream sends linear\n"
              "samples, 80 to a packet, and of a digit the first 10 ms.");
    harness::rtp_peer telephone;
    control.say("new rtp_stream anna 127.0.0.1 127.0.0.1 " + std::to_string(telephone.port()) +
                    " PCMU",
                "an endpoint for the telephone");
    control.say("new tone_stream tones DTMF 0", "it plays, and does not listen for digits");
    control.say("new vocalink line", "a bridge for the two");
    control.say("join line anna", "alone, unheard");
    control.say("join line tones", "silence, from now on");
    control.say("play tone tones 5", "the tones of 5");

    const sound tone = first_sound(telephone);
    control.say("delete stream tones", "enough of it", "the packets that it made");
    control.say("delete stream anna", "the telephone hangs up", "the packets that it was sent");
    control.say("delete bridge line", "the last one");
    judge_tones(tone);
}

} // namespace vocalink::demo
