// SPDX-License-Identifier: GPL-3.0-or-later
// Where a caller keys the PIN of a room.
#include "lobby.hpp"

#include "room_list.hpp"

#include <utility>

namespace vocalink::dialin {

namespace {

constexpr unsigned hash_event = 11;

} // namespace

lobby::lobby(control_link& control, sound_player& player, std::string bridge, std::string wanted)
    : link(control), sounds(player), bridge_id(std::move(bridge)), pin(std::move(wanted)) {
    reopen();
    ask();
}

lobby::~lobby() {
    sounds.stop(prompt);
    link.send("delete bridge " + bridge_id);
}

void lobby::ask() {
    sounds.stop(prompt);
    prompt = sounds.play({bridge_id, "pin"});
}

lobby::verdict lobby::key(unsigned event) {
    if (event != hash_event) {
        if (event < 10 && keyed.size() < longest_pin) {
            keyed += static_cast<char>('0' + event);
        } else {
            keyed = "*"; // no PIN begins so
        }
        return verdict::undecided;
    }
    if (std::exchange(keyed, {}) == pin) {
        return verdict::admitted;
    }
    if (--tries_left == 0) {
        return verdict::refused;
    }
    ask();
    return verdict::undecided;
}

} // namespace vocalink::dialin
