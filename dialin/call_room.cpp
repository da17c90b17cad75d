// SPDX-License-Identifier: GPL-3.0-or-later
// The caller's place in a room, and the keys that are pressed there.
#include "call.hpp"
#include "exchange.hpp"

#include <utility>

namespace vocalink::dialin {

void call::update_membership() {
    if (leg && is_held()) {
        leg->leave();
    } else if (leg) {
        leg->join(waiting_room ? waiting_room->bridge() : place->bridge());
    }
}

void call::enter() {
    place = &owner.open_room(wanted.room);
    place->enter(*this);
    log("entered room ", wanted.room);
}

void call::key(unsigned event) {
    if (!waiting_room) {
        room_key(event);
        return;
    }
    switch (waiting_room->key(event)) {
    case lobby::verdict::undecided:
        break;
    case lobby::verdict::admitted:
        enter(); // joins the room, and so leaves the lobby, before the lobby ends
        waiting_room.reset();
        break;
    case lobby::verdict::refused:
        hang_up("wrong PIN");
        break;
    }
}

void call::room_key(unsigned event) {
    constexpr unsigned star_event = 10;
    constexpr std::chrono::seconds patience{3};
    const auto now = clock::now();
    if (event == star_event) {
        star = now;
        return;
    }
    if (place == nullptr || leg == nullptr || now - std::exchange(star, {}) > patience) {
        return;
    }
    if (event == 6) {
        muted = !muted;
        leg->mute(muted);
        log(muted ? "muted" : "unmuted");
    } else if (event == 9) {
        place->count_for(*this);
    } else if (event == 1) {
        place->toggle_recording();
    }
}

void call::bridge_ended(std::string_view bridge) {
    if (waiting_room && waiting_room->bridge() == bridge) {
        waiting_room->reopen(); // the caller was on hold, and nobody else is ever in it
    }
}

} // namespace vocalink::dialin
