// SPDX-License-Identifier: GPL-3.0-or-later
// A caller's RTP endpoint in the daemon.
#include "media_leg.hpp"

#include <charconv>

namespace vocalink::dialin {

namespace {

// The endpoint of a leg without a far end yet. It is in no bridge then, so nothing is sent there.
std::string endpoint_text(const media_choice& choice, const std::string& local_ip) {
    return choice.has_address() ? choice.remote_ip + ' ' + std::to_string(choice.remote_port)
                                : local_ip + " 9";
}

} // namespace

media_leg::media_leg(control_link& control, std::string id, const media_choice& choice,
                     std::string local_ip, std::function<void(bool)> handler)
    : link(control), stream(std::move(id)), ip(std::move(local_ip)), media(choice),
      on_ready(std::move(handler)) {
    ++unanswered;
    link.send("new rtp_stream " + stream + ' ' + ip + ' ' + endpoint_text(media, ip) + ' ' +
                  std::string(media.audio->word),
              alive, [this](const reply& answer) { created(answer); });
    set_payload_types();
}

media_leg::~media_leg() {
    // The leg may be one that the daemon has ended or never made: its answer is of no interest.
    link.send("delete stream " + stream, alive, nullptr);
}

void media_leg::set_payload_types() {
    if (media.audio->payload_type < 0) {
        command("set stream " + stream + " payload " + std::to_string(media.payload_type));
    }
    if (media.events_type) {
        command("set stream " + stream + " events " + std::to_string(*media.events_type));
    }
}

void media_leg::command(std::string line) {
    ++unanswered;
    link.send(std::move(line), alive, [this](const reply& answer) { report(answer.success); });
}

void media_leg::created(const reply& answer) {
    const std::string_view text = answer.text;
    std::from_chars(text.data(), text.data() + text.size(), port);
    report(answer.success && port != 0);
}

void media_leg::report(bool success) {
    --unanswered;
    if (on_ready && (!success || unanswered == 0)) {
        const auto handler = std::exchange(on_ready, nullptr);
        handler(success); // may destroy this leg
    }
}

void media_leg::follow(const media_choice& choice) {
    if (choice.has_address() &&
        (choice.remote_ip != media.remote_ip || choice.remote_port != media.remote_port)) {
        link.send("set stream " + stream + " endpoint " + endpoint_text(choice, ip));
    }
    const bool same_types =
        choice.payload_type == media.payload_type && choice.events_type == media.events_type;
    media = choice;
    if (!same_types) {
        set_payload_types();
    }
    heard = clock::now();
}

void media_leg::join(const std::string& name) {
    if (bridge == name) {
        return;
    }
    leave();
    bridge = name;
    heard = clock::now();
    link.send("join " + bridge + ' ' + stream);
}

void media_leg::leave() {
    if (!bridge.empty()) {
        link.send("leave " + std::exchange(bridge, {}) + ' ' + stream);
    }
}

void media_leg::mute(bool on) {
    link.send((on ? "set stream " : "clear stream ") + stream + " restricted");
}

void media_leg::look_for_packets() {
    link.send("stats stream " + stream, alive, [this](const reply& answer) {
        const auto counted = answer.text.substr(0, answer.text.find(' '));
        if (answer.success && counted != packets) {
            packets = counted;
            heard = clock::now();
        }
    });
}

} // namespace vocalink::dialin
