// SPDX-License-Identifier: GPL-3.0-or-later
// A conference that callers meet in, with its prompt, tones and recording.
#include "room.hpp"

#include "log_line.hpp"
#include "media_leg.hpp"

#include <utility>

namespace vocalink::dialin {

room::room(control_link& control, sound_player& player, std::string name)
    : link(control), sounds(player), room_name(std::move(name)), bridge_id("room:" + room_name) {
    link.send("new conference " + bridge_id);
    log_line("room", room_name) << "opened";
}

room::~room() {
    sounds.stop(prompt);
    if (!recorder.empty()) {
        link.send("delete stream " + recorder);
    }
    link.send("delete bridge " + bridge_id);
    log_line("room", room_name) << "closed";
}

void room::enter(party& who) {
    parties.insert(&who);
    if (media_leg* leg = who.active_leg()) {
        leg->join(bridge_id);
    }
    greet_the_lonely();
    if (parties.size() > 1) {
        play("come");
    }
}

void room::leave(party& who) {
    parties.erase(&who);
    asker = asker == &who ? nullptr : asker;
    if (!parties.empty()) {
        play("leave");
        greet_the_lonely();
    }
}

void room::greet_the_lonely() {
    const bool lonely = parties.size() == 1;
    if (lonely && prompt == 0) {
        prompt = sounds.play({bridge_id, "alone", true});
    } else if (!lonely) {
        sounds.stop(std::exchange(prompt, 0));
    }
}

void room::count_for(party& who) {
    if (asker == nullptr) {
        asker = &who;
        count_on(asker, parties.size());
    }
}

// Each tone is followed by a pause in its file; the end of one starts the next.
void room::count_on(party* who, std::size_t left) {
    if (asker != who) {
        return; // has hung up
    }
    media_leg* leg = who->active_leg();
    if (left == 0 || leg == nullptr) {
        asker = nullptr;
        return;
    }
    const auto next = [this, who, left, life = std::weak_ptr<void>(alive)] {
        if (!life.expired()) {
            count_on(who, left - 1);
        }
    };
    sounds.play({bridge_id, "count", false, leg->id(), next});
}

void room::toggle_recording() {
    if (recorder.empty()) {
        start_recording();
        return;
    }
    link.send("delete stream " + std::exchange(recorder, {}));
    log_line("room", room_name) << "recording ended";
    play("record");
}

void room::start_recording() {
    recorder = "recorder:" + std::to_string(++recordings) + ':' + room_name;
    link.send("new wav_stream " + recorder + ' ' + room_name, alive, [this](const reply& answer) {
        if (answer.success) {
            log_line("room", room_name) << "recording to " << answer.text;
        } else {
            log_line("room", room_name) << "no recording: " << answer.text;
            recorder.clear();
        }
    });
    link.send("join " + bridge_id + ' ' + recorder);
    play("record");
}

void room::bridge_ended() {
    link.send("new conference " + bridge_id);
    for (party* who : parties) {
        if (media_leg* leg = who->active_leg()) {
            leg->bridge_ended();
            leg->join(bridge_id);
        }
    }
}

void room::stream_ended(std::string_view id) {
    if (id == recorder) {
        recorder.clear();
        log_line("room", room_name) << "recording ended";
    }
}

} // namespace vocalink::dialin
