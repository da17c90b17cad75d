// SPDX-License-Identifier: GPL-3.0-or-later
// The talk with the daemon, and the course of a call on recorded speech.
#include "stage.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace vocalink::demo {

namespace {

using clock = std::chrono::steady_clock;

/** A voice counts as heard from this likeness on. With five voices at once those present measure
 *  0.3 and more in every codec used here, those absent 0.06 at most. */
constexpr double heard_from_likeness = 0.15;

constexpr std::chrono::seconds patience{5}; ///< for what ought to happen at once

void receive_waiting(call_legs& legs) {
    std::ranges::for_each(legs, &leg::receive_waiting);
}

void show(char direction, const std::string& line, const std::string& remark) {
    std::printf("  %c %-54s  %s\n", direction, line.c_str(), remark.c_str());
    std::fflush(stdout);
}

/** @throws std::runtime_error unless the line, which answers or follows something, begins so */
void expect(const std::string& line, const std::string& beginning, const std::string& what) {
    if (!line.starts_with(beginning)) {
        throw std::runtime_error("expected \"" + beginning + "\" " + what + ", but \"" + line +
                                 "\" came");
    }
}

} // namespace

void check(bool right, const std::string& fault) {
    if (!right) {
        ++faults;
        std::fprintf(stderr, "demo: FAULT: %s\n", fault.c_str());
    }
}

dialogue::dialogue(const std::string& socket_path) : control(socket_path) {
    show('<', control.greeting(), "the greeting: we are connected");
}

std::string dialogue::say(const std::string& command, const std::string& remark,
                          const std::string& reply_remark) {
    show('>', command, remark);
    std::string reply = control.command(command);
    show('<', reply, reply_remark);
    expect(reply, "SUCCESS", "for \"" + command + "\"");
    return reply;
}

void dialogue::hear(const std::string& beginning, const std::string& remark) {
    const std::string notice = control.notice().value_or("nothing");
    show('<', notice, remark);
    expect(notice, beginning, "as a notice");
}

void add_leg(dialogue& control, call_legs& legs, const places& where, const std::string& name,
             const std::string& encoding, std::size_t pause_frames) {
    sound sentence = read_ulaw_file(where.audio + "/" + name + ".ulaw");
    sentence.insert(sentence.begin(), pause_frames * frame_samples, 0);
    leg& added = legs.emplace_back(name, encoding, std::move(sentence));
    added.daemon_port = harness::port_in_reply(
        control.say("new rtp_stream " + name + " 127.0.0.1 127.0.0.1 " +
                        std::to_string(added.telephone.port()) + " " + encoding,
                    "an endpoint for " + name + "'s telephone", name + " is to send to this port"));
}

void talk(call_legs& legs, std::size_t ticks, const std::function<void(std::size_t)>& tick) {
    clock::time_point due = clock::now();
    for (std::size_t i = 0; i < ticks; ++i) {
        tick(i);
        due += std::chrono::milliseconds(20);
        (void)harness::eventually([&] {
            receive_waiting(legs);
            return clock::now() >= due;
        });
    }
}

std::size_t everyone_speaks(call_legs& legs) {
    const auto longest = std::ranges::max_element(legs, {}, &leg::voice_frames);
    talk(legs, longest->voice_frames(),
         [&](std::size_t) { std::ranges::for_each(legs, &leg::speak); });
    return longest->voice_frames();
}

void listen(call_legs& legs, std::size_t frames) {
    constexpr std::chrono::milliseconds mix_cycle{30};
    (void)harness::eventually(
        [&] {
            receive_waiting(legs);
            return std::ranges::all_of(
                legs, [&](const leg& each) { return each.heard.size() >= frames * frame_samples; });
        },
        frames * mix_cycle + patience);
}

void end_call(dialogue& control, const call_legs& legs, const std::string& bridge) {
    std::puts("");
    control.say("leave " + bridge + " " + legs[0].name, "out of the call, yet still there");
    for (const leg& each : legs) {
        control.say("delete stream " + each.name, each.name + " hangs up",
                    "the packets that the daemon counted");
    }
    control.say("delete bridge " + bridge, "the call is over");
}

void judge(call_legs& legs, const places& where, const std::string& scene,
           const std::vector<voice>& others) {
    receive_waiting(legs);
    std::vector<voice> voices;
    for (const leg& each : legs) {
        voices.push_back({each.name, each.said});
        write_wav_file(where.output + "/" + scene + "-" + each.name + ".wav", each.heard);
    }
    voices.insert(voices.end(), others.begin(), others.end());
    std::printf("\n  What each leg sent and heard (packets):\n"
                "  leg    codec    sent  received  lost  level heard   how much of whose voice\n"
                "%50s",
                "dBFS ");
    for (const voice& speaker : voices) {
        std::printf("%8s", speaker.name.c_str());
    }
    for (const leg& each : legs) {
        std::printf("\n  %-6s %-6s%7zu%10zu%6zu%11.1f ", each.name.c_str(), each.encoding.c_str(),
                    each.voice_sent, each.voice_received, each.lost, level_dbfs(each.heard));
        for (const voice& speaker : voices) {
            const double alike = likeness(each.heard, speaker.said);
            const bool is_heard = alike >= heard_from_likeness;
            const bool right = is_heard == (speaker.name != each.name);
            std::printf("%7.2f%c", alike, !right ? '!' : is_heard ? '*' : '-');
            check(right, each.name + (is_heard ? " heard " : " did not hear ") + speaker.name);
        }
    }
    std::printf("\n  * heard, from a likeness (best correlation with what was said) of %.2f on\n"
                "  - not heard, as expected: nobody hears itself\n  ! unexpected\n",
                heard_from_likeness);
}

} // namespace vocalink::demo
