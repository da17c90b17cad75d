// SPDX-License-Identifier: GPL-3.0-or-later
// The command that chooses how the controller's lines are framed.
#include "base/exceptions.hpp"
#include "control/commands.hpp"
#include "control/connection.hpp"
#include "control/line_framing.hpp"

#include <memory>

namespace vocalink {

command_result choose_framing(connection& caller, word_list& words) {
    if (words == word_list{"lines"}) {
        caller.use_framing(std::make_unique<line_framing>());
    } else if (words == word_list{"lines", "tags"}) {
        caller.use_framing(std::make_unique<tagged_line_framing>());
    } else {
        throw command_exception("framing command usage: 'lines' ['tags']");
    }
    return "SUCCESS";
}

} // namespace vocalink
