// SPDX-License-Identifier: GPL-3.0-or-later
// A conference of several codecs, with a prompt from a file and two recordings.
#include "call.hpp"
#include "conversation.hpp"
#include "recorded.hpp"

#include <algorithm>
#include <iostream>
#include <utility>

namespace vocalink::demo {

namespace {

constexpr std::chrono::milliseconds mix_cycle{30};

std::vector<leg> five_legs(const places& where) {
    constexpr std::size_t stagger_frames = 25; // voices overlap, yet a listener can tell them apart
    std::vector<leg> legs;
    for (const auto& [name, encoding] :
         {std::pair{"anna", "PCMU"}, std::pair{"bruno", "PCMU"}, std::pair{"carla", "PCMU"},
          std::pair{"dora", "G729"}, std::pair{"emil", "ILBC20"}}) {
        legs.push_back(make_leg(where, name, encoding, (legs.size() + 1) * stagger_frames));
    }
    return legs;
}

/** Everybody joins, and what was heard until then is forgotten.
 *  @param call  the recording of one of them: it begins when the mix sends the first packet */
void come_in(dialogue& control, std::span<leg> legs, const recording& call) {
    control.say("new vocalink conference", "another bridge");
    for (leg& each : legs) {
        control.say("join conference " + each.name(), each.name() + " comes in");
    }
    call.hear_start(control);
    for (leg& each : legs) {
        each.receive_waiting();
        each.forget_heard();
    }
}

/** Has the daemon play a file to everybody. It begins at once.
 *  @return what is to be heard: the whole frames of the file */
voice play_prompt(dialogue& control, const places& where) {
    const std::string path = where.audio + "/welcome.ulaw";
    sound prompt = read_ulaw_file(path);
    prompt.resize(prompt.size() / frame_samples * frame_samples);
    control.say("new sound_stream welcome " + path + " noloop PCMU", "a prompt, to be played once",
                "the file could be opened");
    control.say("join conference welcome", "everybody hears it");
    return {"welcome", std::move(prompt)};
}

/** All speak while the prompt is still being played. Returns when all has been heard. */
void everyone_answers(std::span<leg> legs) {
    // Speaking before the prompt has joined would lose the beginning: a cycle of the mix after a
    // join empties the queues.
    constexpr std::size_t join_frames = 4;
    listen_until(legs, patience, [&] { return everyone_heard(legs, join_frames); });
    std::cout
        << "\n  ... all five speak, while the prompt goes on. A mix takes one packet in 30 ms\n"
           "  from each, so that 20 ms packets queue up and the hearing goes on when the speaking\n"
           "  is over ...\n"
        << std::endl;
    constexpr std::size_t spare_frames = 25; // for the codecs' delays and a late first packet
    const std::size_t frames = everyone_speaks(legs) + join_frames + spare_frames;
    listen_until(legs, frames * mix_cycle + patience, [&] { return everyone_heard(legs, frames); });
}

/** Compares the files with what their legs sent and received. */
std::vector<std::string> check_recordings(const recording& call, const leg& called,
                                          const recording& speech, const leg& speaker) {
    constexpr std::size_t capture_bytes = 24; // of a pcap file before its first packet
    constexpr std::size_t record_bytes = 16 + 4 + 20 + 8 + harness::rtp_header_bytes; // to payload
    const auto sent = static_cast<std::size_t>(called.voice_packets_sent());
    const auto received = static_cast<std::size_t>(called.voice_packets_received());
    std::cout << "\n  The recordings, measured by what " << called.name()
              << " sent and received and " << speaker.name() << " sent:\n";
    std::vector<std::string> faults =
        call.check({capture_bytes, sent + received, record_bytes + frame_samples});
    const auto spoken = static_cast<std::size_t>(speaker.voice_packets_sent());
    for (const std::string& fault : speech.check({0, spoken, frame_samples})) {
        faults.push_back(fault);
    }
    if (faults.empty() && read_ulaw_file(speech.path()) != speaker.said()) {
        faults.push_back("the recording of " + speaker.name() + " is not what " + speaker.name() +
                         " said");
    }
    return faults;
}

/** Waits for what is to be reported of the prompt and of one recording, and ends that one. */
void hear_ends(dialogue& control, const voice& prompt, const recording& speech) {
    speech.hear_start(control);
    control.hear("TIMEOUT STREAM welcome incoming_packets=" +
                     std::to_string(prompt.said.size() / frame_samples) + " ",
                 "the end of the file: this stream is gone");
    control.say("recording stop carla carla", "this one ends now");
    speech.hear_end(control);
}

} // namespace

std::vector<std::string> conference(dialogue& control, const places& where) {
    std::cout
        << "\nScene 2: a conference of five, with three codecs. Each hears the sum of the others\n"
           "and of a prompt that is played from a file. Two recordings run. Emil's own voice will\n"
           "be missing: what an iLBC leg says does not enter a mix at present, though it hears\n"
           "the others.\n";
    std::vector<leg> legs = five_legs(where);
    for (leg& each : legs) {
        create(control, each);
    }
    const leg& bruno = legs[1];
    const leg& carla = legs[2];
    const recording call(control, bruno.name(), "talk", "pcap", "all packets from and to bruno");
    const recording speech(control, carla.name(), "carla", "ulaw_in", "the sound of carla alone");
    come_in(control, legs, call);
    const voice prompt = play_prompt(control, where);
    everyone_answers(legs);
    hear_ends(control, prompt, speech);
    end_call(control, legs, "conference");
    call.hear_end(control);

    std::vector<std::string> faults = judge(legs, where, "conference", {prompt}, {"emil"});
    for (const std::string& fault : check_recordings(call, bruno, speech, carla)) {
        faults.push_back(fault);
    }
    return faults;
}

} // namespace vocalink::demo
