// SPDX-License-Identifier: GPL-3.0-or-later
// Prompts and tones: sound files that the daemon plays into a bridge.
#include "sound_player.hpp"

namespace vocalink::dialin {

std::string as_word(std::string_view text) {
    std::string word;
    for (const char c : text) {
        if (c == ' ' || c == '"' || c == '\\') {
            word += '\\';
        }
        word += c;
    }
    return word;
}

sound_player::number sound_player::play(order wanted) {
    ++last;
    const std::string id = "sound:" + std::to_string(last);
    link.send("new sound_stream " + id + ' ' + as_word(folder + '/' + wanted.sound + ".ulaw") +
              (wanted.repeat ? " loop" : " noloop") + " PCMU");
    if (!wanted.only_for.empty()) {
        link.send("set stream " + id + " restricted");
        link.send("set stream " + id + " targets " + wanted.only_for);
    }
    link.send("join " + wanted.bridge + ' ' + id);
    playing.emplace(id, std::move(wanted.on_end));
    return last;
}

void sound_player::stop(number sound) {
    const auto found = playing.find("sound:" + std::to_string(sound));
    if (found != playing.end()) {
        link.send("delete stream " + found->first);
        playing.erase(found);
    }
}

void sound_player::stream_ended(std::string_view id) {
    const auto found = playing.find(id);
    if (found == playing.end()) {
        return;
    }
    const auto on_end = std::move(found->second);
    playing.erase(found);
    if (on_end) {
        on_end();
    }
}

} // namespace vocalink::dialin
