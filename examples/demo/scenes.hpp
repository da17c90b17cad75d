// SPDX-License-Identifier: GPL-3.0-or-later
// The scenes that the demonstration plays.
#pragma once

#include "dialogue.hpp"

#include <string>
#include <vector>

namespace vocalink::demo {

/** Where speech comes from and where it goes to; directories without a slash at their end. */
struct places {
    std::string audio;  ///< holds NAME.ulaw for each speaker, and welcome.ulaw
    std::string output; ///< takes SCENE-NAME.wav for each leg

    /** The daemon's directory for recordings that are over. */
    [[nodiscard]] std::string recordings() const { return output + "/recordings"; }
    /** Its directory for those that are going on. */
    [[nodiscard]] std::string unfinished() const { return output + "/unfinished"; }
};

// Each scene returns what went wrong, a sentence each. It throws std::runtime_error when it cannot
// go on.

/** Two legs of one codec: the daemon passes their packets on as they are. Ends with a key press. */
[[nodiscard]] std::vector<std::string> two_party_call(dialogue& control, const places& where);

/** Five legs of three codecs: the daemon mixes, plays a prompt to all, and records. */
[[nodiscard]] std::vector<std::string> conference(dialogue& control, const places& where);

/** A digit sent by one endpoint of the daemon and reported by another. */
[[nodiscard]] std::vector<std::string> sent_digit(dialogue& control, const places& where);

/** A digit played as tones to a telephone, which measures them. */
[[nodiscard]] std::vector<std::string> played_tones(dialogue& control, const places& where);

} // namespace vocalink::demo
