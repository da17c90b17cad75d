// SPDX-License-Identifier: GPL-3.0-or-later
// The table of a call and the judgement of it.
#include "hearing.hpp"

#include <iomanip>
#include <iostream>
#include <sstream>
#include <utility>

namespace vocalink::demo {

verdict::verdict(std::span<const leg> call_legs, const std::vector<voice>& others,
                 std::set<std::string> mute_legs)
    : legs(call_legs), mute(std::move(mute_legs)) {
    for (const leg& speaker : legs) {
        voices.push_back({speaker.name(), speaker.said()});
    }
    voices.insert(voices.end(), others.begin(), others.end());
    for (const leg& listener : legs) {
        hearing& one = hearings.emplace_back();
        one.level_dbfs = level_dbfs(listener.heard());
        for (const voice& speaker : voices) {
            one.likenesses.push_back(likeness(listener.heard(), speaker.said));
        }
    }
}

bool verdict::expected(std::size_t listener, std::size_t speaker) const {
    return listener != speaker && !mute.contains(voices[speaker].name);
}

bool verdict::heard(std::size_t listener, std::size_t speaker) const {
    return hearings[listener].likenesses[speaker] >= heard_from_likeness;
}

void verdict::print() const {
    std::cout << std::fixed;
    print_heading();
    for (std::size_t i = 0; i < legs.size(); ++i) {
        print_leg(i);
    }
    std::cout << "  * heard, from a likeness (best correlation with what was said) of "
              << heard_from_likeness << " on\n  - not heard, as expected: nobody hears itself\n";
    for (const std::string& name : mute) {
        std::cout << "  - nor, as a known limit of this version, does anybody hear " << name
                  << "\n";
    }
    std::cout << "  ! unexpected\n" << std::flush;
}

void verdict::print_heading() const {
    std::cout << "  leg    codec    sent  received  lost  level heard   how much of whose voice\n"
              << "                                             dBFS ";
    for (const voice& speaker : voices) {
        std::cout << std::setw(8) << speaker.name;
    }
    std::cout << '\n';
}

void verdict::print_leg(std::size_t listener) const {
    const leg& each = legs[listener];
    std::cout << "  " << std::left << std::setw(6) << each.name() << ' ' << std::setw(6)
              << each.encoding() << std::right << std::setw(7) << each.voice_packets_sent()
              << std::setw(10) << each.voice_packets_received() << std::setw(6)
              << each.packets_lost() << std::setw(11) << std::setprecision(1)
              << hearings[listener].level_dbfs << ' ' << std::setprecision(2);
    for (std::size_t speaker = 0; speaker < voices.size(); ++speaker) {
        const bool is_heard = heard(listener, speaker);
        const bool good = is_heard == expected(listener, speaker);
        std::cout << std::setw(7) << hearings[listener].likenesses[speaker]
                  << (!good      ? '!'
                      : is_heard ? '*'
                                 : '-');
    }
    std::cout << '\n';
}

std::vector<std::string> verdict::faults() const {
    std::vector<std::string> found;
    for (std::size_t listener = 0; listener < legs.size(); ++listener) {
        for (std::size_t speaker = 0; speaker < voices.size(); ++speaker) {
            const bool is_heard = heard(listener, speaker);
            if (is_heard != expected(listener, speaker)) {
                std::ostringstream text;
                text << legs[listener].name() << (is_heard ? " heard " : " did not hear ")
                     << (listener == speaker ? "itself" : voices[speaker].name) << " (likeness "
                     << std::fixed << std::setprecision(2) << hearings[listener].likenesses[speaker]
                     << ")";
                found.push_back(text.str());
            }
        }
    }
    return found;
}

} // namespace vocalink::demo
