// SPDX-License-Identifier: GPL-3.0-or-later
// Commands that use the features of existing streams.
#include "control/command_words.hpp"
#include "control/connection.hpp"
#include "util/exceptions.hpp"

namespace vocalink {

std::string connection::_play(words& arguments) {
    constexpr const char* too_few = "play command takes at least two arguments: 'type id'";
    if (arguments.size() < 2) {
        throw command_exception(too_few);
    }
    const std::string type = take_word(arguments);
    const std::string id = take_word(arguments);
    if (type != "tone") {
        throw command_exception("play type must be TONE");
    }
    stream* const player = find_stream(id);
    if (player == nullptr) {
        throw command_exception("unknown stream");
    }
    if (arguments.empty()) {
        throw command_exception(too_few);
    }
    player->put_tones(take_word(arguments));
    return "SUCCESS";
}

} // namespace vocalink
