// SPDX-License-Identifier: GPL-3.0-or-later
// A two-party call with a key press; a conference of several codecs, with a prompt and recordings.
#include "stage.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <utility>

namespace vocalink::demo {

namespace {

/** Has the first leg press a key for 100 ms, as RFC 4733 has it: a marked packet, more with growing
 *  duration, and the last one three times. The controller hears of it, the other leg does not. */
void press_key(dialogue& control, call_legs& legs, int event) {
    constexpr std::size_t growing_packets = 5, end_packets = 3;
    leg &presser = legs[0], &other = legs[1];
    std::printf("\n  ... %s presses the key %d ...\n", presser.name.c_str(), event);
    talk(legs, growing_packets + end_packets, [&](std::size_t i) {
        presser.send_event(event, std::min(i + 1, growing_packets) * frame_samples, i == 0,
                           i >= growing_packets);
    });
    const std::string subject = " STREAM " + presser.name + " EVENT " + std::to_string(event) + " ";
    control.hear("DTMF_START" + subject, "a notice: the key is down");
    control.hear("DTMF_END" + subject, "the key is up again");
    std::printf("  (%zu telephone-event packets sent, %zu passed on to %s: the daemon reports keys "
                "and keeps them)\n",
                growing_packets + end_packets, other.others_received, other.name.c_str());
    check(other.others_received == 0, other.name + " received telephone events");
}

/** @return where the file will be in the end */
std::string record(dialogue& control, const std::string& what, const std::string& remark) {
    return control.say("recording start " + what, remark, "where the file will be when complete")
        .substr(std::string("SUCCESS ").size());
}

/** Compares the files with what one leg sent and received, and with what another said. */
void check_recordings(const std::string& call, const leg& called, const std::string& speech,
                      const leg& speaker) {
    // Header of the file; record, link, IPv4, UDP and RTP header, and the sound.
    constexpr std::size_t file_bytes = 24;
    constexpr std::size_t packet_bytes = 16 + 4 + 20 + 8 + 12 + frame_samples;
    const std::size_t expected =
        file_bytes + packet_bytes * (called.voice_sent + called.voice_received);
    const std::size_t bytes = std::filesystem::file_size(call);
    const bool same_speech = read_ulaw_file(speech) == speaker.said;
    std::printf("\n  %s\n    has %zu bytes; the packets of %s come to %zu\n  %s\n    holds what %s "
                "said: %s\n",
                call.c_str(), bytes, called.name.c_str(), expected, speech.c_str(),
                speaker.name.c_str(), same_speech ? "yes" : "no");
    check(bytes == expected && same_speech, "a recording is not complete");
}

/** Everybody joins, and what was heard until then is forgotten. */
void come_in(dialogue& control, call_legs& legs) {
    control.say("new conference room", "the other kind of bridge: everybody is mixed");
    for (const leg& each : legs) {
        control.say("join room " + each.name, each.name + " comes in");
    }
    control.hear("REC_STARTED talk_", "the conference has sent the first packet to bruno");
    for (leg& each : legs) {
        each.receive_waiting();
        each.heard.clear();
    }
}

/** Has the daemon play a file to everybody. It begins at once.
 *  @return what is to be heard: the whole frames of the file */
voice play_prompt(dialogue& control, const places& where) {
    const std::string path = where.audio + "/welcome.ulaw";
    sound prompt = read_ulaw_file(path);
    prompt.resize(prompt.size() / frame_samples * frame_samples);
    control.say("new sound_stream welcome " + path + " noloop PCMU", "a prompt, to be played once");
    control.say("join room welcome", "everybody hears it");
    return {"welcome", std::move(prompt)};
}

/** All speak while the prompt is still being played. Returns when all has been heard. */
void everyone_answers(call_legs& legs) {
    constexpr std::size_t spare_frames = 25; // for the codecs' delays and the playout buffers
    std::puts("\n  ... all five speak, while the prompt goes on ...\n");
    listen(legs, everyone_speaks(legs) + spare_frames);
}

/** A listener that writes what everybody says to a WAV file. */
class minutes {
  public:
    explicit minutes(dialogue& control)
        : path(control.say("new wav_stream minutes minutes", "a listener that writes a WAV file")
                   .substr(std::string("SUCCESS ").size())) {
        control.say("join room minutes", "it hears everybody");
        control.hear("REC_STARTED minutes_", "it has its first samples");
    }

    /** Ends it and compares the file's length with the clock. */
    void end(dialogue& control) {
        control.say("delete stream minutes", "the WAV file ends");
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
        control.hear("REC_FINISHED minutes_", "the file is in its place");
        constexpr double header_bytes = 44, bytes_per_s = 16000, tolerance_s = 0.1;
        const double length_s =
            (static_cast<double>(std::filesystem::file_size(path)) - header_bytes) / bytes_per_s;
        std::printf("\n  %s\n    is %.2f s long; the clock says %.2f s\n", path.c_str(), length_s,
                    passed.count());
        check(std::abs(length_s - passed.count()) < tolerance_s, "the WAV file is not complete");
    }

  private:
    const std::string path;
    const std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
};

} // namespace

void two_party_call(dialogue& control, const places& where) {
    std::puts("\nScene 1: a call of two. Same codec, so packets are passed on as they are.");
    call_legs legs;
    add_leg(control, legs, where, "anna", "PCMU");
    add_leg(control, legs, where, "bruno", "PCMU");
    control.say("new vocalink call", "a bridge joins legs");
    control.say("join call anna", "alone in it, unheard");
    control.say("join call bruno", "two: now they are connected");

    std::puts("\n  ... both speak ...");
    listen(legs, everyone_speaks(legs));

    press_key(control, legs, 5);
    end_call(control, legs, "call");
    judge(legs, where, "call");
}

void conference(dialogue& control, const places& where) {
    std::puts(
        "\nScene 2: a conference of five, each with another codec. Each hears the sum of the\n"
        "others and of a prompt that is played from a file. Two recordings run, and a listener\n"
        "writes the whole conference to a WAV file.");
    constexpr std::size_t stagger_frames = 25; // voices overlap, yet a listener can tell them apart
    call_legs legs;
    for (const auto& [name, encoding] :
         {std::pair{"anna", "G711A"}, std::pair{"bruno", "G722"}, std::pair{"carla", "PCMU"},
          std::pair{"dora", "G729"}, std::pair{"emil", "ILBC20"}}) {
        add_leg(control, legs, where, name, encoding, (legs.size() + 1) * stagger_frames);
    }
    const leg &bruno = legs[1], &carla = legs[2];
    const std::string call = record(control, "bruno talk pcap", "all packets from and to bruno");
    const std::string speech = record(control, "carla carla ulaw_in", "the sound of carla alone");
    come_in(control, legs);
    minutes written(control);
    const voice prompt = play_prompt(control, where);
    everyone_answers(legs);

    control.hear("REC_STARTED carla_", "carla's first packet is recorded");
    control.hear("TIMEOUT STREAM welcome incoming_packets=" +
                     std::to_string(prompt.said.size() / frame_samples) + " ",
                 "the end of the file: this stream is gone");
    control.say("recording stop carla carla", "this one ends now");
    control.hear("REC_FINISHED carla_", "the file is in its place");
    written.end(control);
    end_call(control, legs, "room");
    control.hear("REC_FINISHED talk_", "so is this one");

    judge(legs, where, "conference", {prompt});
    check_recordings(call, bruno, speech, carla);
}

} // namespace vocalink::demo
