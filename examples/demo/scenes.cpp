// SPDX-License-Identifier: GPL-3.0-or-later
// A two-party call with a key press, and a conference.
#include "scenes.hpp"

#include "conversation.hpp"
#include "hearing.hpp"

#include <algorithm>
#include <iostream>

namespace vocalink::demo {

namespace {

using namespace std::chrono_literals;

constexpr auto mix_cycle = 30ms;
constexpr auto patience = 5s; ///< for what ought to happen at once

/** @param pause_frames  of silence before the voice */
leg make_leg(const places& where, const std::string& name, const std::string& encoding,
             std::size_t pause_frames = 0) {
    sound voice = read_ulaw_file(where.audio + "/" + name + ".ulaw");
    voice.insert(voice.begin(), pause_frames * frame_samples, 0);
    return {name, encoding, std::move(voice)};
}

void create(dialogue& control, leg& each) {
    const std::string reply =
        control.say("new rtp_stream " + each.name() + " 127.0.0.1 127.0.0.1 " +
                        std::to_string(each.port()) + " " + each.encoding(),
                    "an endpoint for " + each.name() + "'s telephone",
                    each.name() + " is to send to this port");
    each.call(harness::port_in_reply(reply));
}

void end_scene(dialogue& control, std::span<leg> legs, const std::string& bridge) {
    std::cout << '\n';
    control.say("leave " + bridge + " " + legs[0].name(), "out of the call, yet still there");
    for (const leg& each : legs) {
        control.say("delete stream " + each.name(), each.name() + " hangs up",
                    "the packets that the daemon counted");
    }
    control.say("delete bridge " + bridge, "the call is over");
}

std::size_t longest_voice_frames(std::span<const leg> legs) {
    std::size_t frames = 0;
    for (const leg& each : legs) {
        frames = std::max(frames, each.voice_frames());
    }
    return frames;
}

void everyone_speaks(std::span<leg> legs, std::size_t frames) {
    talk(legs, frames, [&](std::size_t) {
        for (leg& each : legs) {
            each.speak();
        }
    });
}

bool everyone_heard(std::span<const leg> legs, std::size_t frames) {
    return std::all_of(legs.begin(), legs.end(),
                       [=](const leg& each) { return each.heard_frames() >= frames; });
}

/** Measures, shows, and writes down what was heard. To be called when nothing more is sent. */
std::vector<std::string> judge(std::span<leg> legs, const places& where, const std::string& scene,
                               const std::set<std::string>& mute) {
    for (leg& each : legs) {
        each.receive_waiting();
        write_wav_file(where.output + "/" + scene + "-" + each.name() + ".wav", each.heard());
    }
    const verdict result(legs, mute);
    std::cout << "\n  What each leg sent and heard (packets):\n";
    result.print();
    return result.faults();
}

/** Has the first leg press a key: the controller hears of it, the other leg does not. */
std::vector<std::string> key_press(dialogue& control, std::span<leg> legs, int event) {
    std::cout << "\n  ... " << legs[0].name() << " presses the key " << event << " ..."
              << std::endl;
    press_key(legs, legs[0], event);
    std::vector<std::string> faults;
    const std::string subject = " STREAM " + legs[0].name() + " EVENT " + std::to_string(event);
    for (const std::string what : {"DTMF_START", "DTMF_END"}) {
        const auto notice = control.hear(what == "DTMF_START" ? "a notice: the key is down"
                                                              : "the key is up again");
        if (!notice || !notice->starts_with(what + subject)) {
            faults.push_back("no " + what + " notice for the key that " + legs[0].name() +
                             " pressed");
        }
    }
    std::cout << "  (" << legs[0].event_packets_sent() << " telephone-event packets sent, "
              << legs[1].other_packets_received() << " passed on to " << legs[1].name()
              << ": the daemon reports keys and keeps them)\n";
    if (legs[1].other_packets_received() != 0) {
        faults.push_back(legs[1].name() + " received telephone events of " + legs[0].name());
    }
    return faults;
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
    const std::size_t frames = longest_voice_frames(legs);
    everyone_speaks(legs, frames);
    listen_until(legs, patience, [&] { return everyone_heard(legs, frames); });

    std::vector<std::string> faults = key_press(control, legs, 5);
    end_scene(control, legs, "call");
    for (const std::string& fault : judge(legs, where, "call", {})) {
        faults.push_back(fault);
    }
    return faults;
}

std::vector<std::string> conference(dialogue& control, const places& where) {
    constexpr std::size_t stagger_frames = 25; // voices overlap, yet a listener can tell them apart
    std::vector<leg> legs;
    for (const auto& [name, encoding] :
         {std::pair{"anna", "PCMU"}, std::pair{"bruno", "PCMU"}, std::pair{"carla", "PCMU"},
          std::pair{"dora", "G729"}, std::pair{"emil", "ILBC20"}}) {
        legs.push_back(make_leg(where, name, encoding, legs.size() * stagger_frames));
    }
    std::cout
        << "\nScene 2: a conference of five, with three codecs. Each hears the sum of the\n"
           "others. Emil's own voice will be missing: what an iLBC leg says does not enter a\n"
           "mix at present, though it hears the others.\n";
    control.say("new vocalink conference", "another bridge");
    for (leg& each : legs) {
        create(control, each);
        control.say("join conference " + each.name(), each.name() + " comes in");
    }
    // Speaking before the mix runs would lose the beginning: its first cycle empties the queues.
    listen_until(legs, patience, [&] { return everyone_heard(legs, 2); });
    for (leg& each : legs) {
        each.forget_heard();
    }

    std::cout
        << "\n  ... all five speak; a mix takes one packet in 30 ms from each, so that 20 ms\n"
           "  packets queue up and the hearing goes on when the speaking is over ..."
        << std::endl;
    const std::size_t frames = longest_voice_frames(legs);
    everyone_speaks(legs, frames);
    constexpr std::size_t codec_delay_frames = 10;
    listen_until(legs, frames * mix_cycle + patience,
                 [&] { return everyone_heard(legs, frames + codec_delay_frames); });

    end_scene(control, legs, "conference");
    return judge(legs, where, "conference", {"emil"});
}

} // namespace vocalink::demo
