// SPDX-License-Identifier: GPL-3.0-or-later
// The two calls that the demonstration makes.
#pragma once

#include "dialogue.hpp"

#include <string>
#include <vector>

namespace vocalink::demo {

/** Where speech comes from and where it goes to; directories without a slash at their end. */
struct places {
    std::string audio;  ///< holds NAME.ulaw for each speaker
    std::string output; ///< takes SCENE-NAME.wav for each leg
};

/** Two legs of one codec: the daemon passes their packets on as they are. Ends with a key press.
 *  @return what went wrong, a sentence each */
[[nodiscard]] std::vector<std::string> two_party_call(dialogue& control, const places& where);

/** Five legs of three codecs: the daemon mixes.
 *  @return what went wrong, a sentence each */
[[nodiscard]] std::vector<std::string> conference(dialogue& control, const places& where);

} // namespace vocalink::demo
