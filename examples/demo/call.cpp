// SPDX-License-Identifier: GPL-3.0-or-later
// Setting up, holding and ending a call on recorded speech.
#include "call.hpp"

#include "conversation.hpp"

#include <algorithm>
#include <iostream>
#include <utility>

namespace vocalink::demo {

leg make_leg(const places& where, const std::string& name, const std::string& encoding,
             std::size_t pause_frames) {
    sound sentence = read_ulaw_file(where.audio + "/" + name + ".ulaw");
    sentence.insert(sentence.begin(), pause_frames * frame_samples, 0);
    return {name, encoding, std::move(sentence)};
}

void create(dialogue& control, leg& each) {
    const std::string reply =
        control.say("new rtp_stream " + each.name() + " 127.0.0.1 127.0.0.1 " +
                        std::to_string(each.port()) + " " + each.encoding(),
                    "an endpoint for " + each.name() + "'s telephone",
                    each.name() + " is to send to this port");
    each.call(harness::port_in_reply(reply));
}

std::size_t everyone_speaks(std::span<leg> legs) {
    std::size_t frames = 0;
    for (const leg& each : legs) {
        frames = std::max(frames, each.voice_frames());
    }
    talk(legs, frames, [&](std::size_t) {
        for (leg& each : legs) {
            each.speak();
        }
    });
    return frames;
}

bool everyone_heard(std::span<const leg> legs, std::size_t frames) {
    return std::all_of(legs.begin(), legs.end(),
                       [=](const leg& each) { return each.heard_frames() >= frames; });
}

void end_call(dialogue& control, std::span<leg> legs, const std::string& bridge) {
    std::cout << '\n';
    control.say("leave " + bridge + " " + legs[0].name(), "out of the call, yet still there");
    for (const leg& each : legs) {
        control.say("delete stream " + each.name(), each.name() + " hangs up",
                    "the packets that the daemon counted");
    }
    control.say("delete bridge " + bridge, "the call is over");
}

std::vector<std::string> judge(std::span<leg> legs, const places& where, const std::string& scene,
                               const std::vector<voice>& others,
                               const std::set<std::string>& mute) {
    for (leg& each : legs) {
        each.receive_waiting();
        write_wav_file(where.output + "/" + scene + "-" + each.name() + ".wav", each.heard());
    }
    const verdict result(legs, others, mute);
    std::cout << "\n  What each leg sent and heard (packets):\n";
    result.print();
    return result.faults();
}

} // namespace vocalink::demo
