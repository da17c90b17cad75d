// SPDX-License-Identifier: GPL-3.0-or-later
// A digit played as a pair of tones, received and measured.
#include "harness/controller.hpp"
#include "harness/rtp_peer.hpp"
#include "scenes.hpp"
#include "sound.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace vocalink::demo {

namespace {

constexpr std::array dtmf_hz{697, 770, 852, 941, 1209, 1336, 1477, 1633};
constexpr std::pair pair_of_5{770, 1336}; // ITU-T Q.23

/** The linear samples in a packet of a tone stream, which has them as the machine stores them. */
sound samples_of(const std::vector<std::uint8_t>& packet) {
    const harness::rtp_view view = harness::parse_rtp(packet);
    sound samples(view.payload.size() / sizeof(std::int16_t));
    std::memcpy(samples.data(), view.payload.data(), samples.size() * sizeof(std::int16_t));
    return samples;
}

/** Takes in packets until one is not silent.
 *  @throws std::runtime_error when half a second brings none */
sound first_sound(harness::rtp_peer& telephone) {
    constexpr int half_a_second_packets = 25;
    for (int silent = 0; silent < half_a_second_packets; ++silent) {
        const auto packet = telephone.receive();
        if (!packet) {
            throw std::runtime_error("no packets came from the tone stream");
        }
        sound samples = samples_of(*packet);
        if (std::any_of(samples.begin(), samples.end(), [](auto sample) { return sample != 0; })) {
            std::cout << "  ... " << samples.size() << " samples of sound at " << std::fixed
                      << std::setprecision(1) << level_dbfs(samples) << " dBFS, after " << silent
                      << " packets of silence ...\n";
            return samples;
        }
    }
    throw std::runtime_error("nothing but silence came from the tone stream");
}

/** Measures and shows the frequencies of all digits.
 *  @return what is wrong unless nearly all of the energy is at the expected two */
std::vector<std::string> judge_tones(const sound& samples, std::pair<int, int> expected) {
    constexpr double enough = 0.8; // short samples blur into the neighbouring frequencies
    std::vector<std::pair<double, int>> shares;
    std::ostringstream heading;
    std::ostringstream row;
    for (const int hz : dtmf_hz) {
        shares.emplace_back(energy_share(samples, hz), hz);
        heading << std::setw(6) << hz;
        row << std::setw(6) << std::fixed << std::setprecision(2) << shares.back().first;
    }
    std::partial_sort(shares.begin(), shares.begin() + 2, shares.end(), std::greater<>());
    const auto [low, high] = std::minmax(shares[0].second, shares[1].second);
    std::ostringstream found;
    found << low << " Hz and " << high << " Hz with " << std::fixed << std::setprecision(2)
          << shares[0].first + shares[1].first << " of the energy";
    std::cout << "\n  frequency in Hz  " << heading.str() << "\n  share of energy  " << row.str()
              << "\n  measured: " << found.str() << "; the pair of 5 is " << expected.first
              << " Hz and " << expected.second << " Hz\n";
    if (low == expected.first && high == expected.second &&
        shares[0].first + shares[1].first >= enough) {
        return {};
    }
    return {"the tone stream's 5 was " + found.str()};
}

} // namespace

std::vector<std::string> played_tones(dialogue& control, const places&) {
    std::cout
        << "\nScene 4: a digit is played as tones to a telephone. A tone stream sends linear\n"
           "samples, 80 to a packet, and of a digit the first 10 ms.\n";
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
    return judge_tones(tone, pair_of_5);
}

} // namespace vocalink::demo
