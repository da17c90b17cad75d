// SPDX-License-Identifier: GPL-3.0-or-later
// Membership of a bridge, its listings and its end.
#include "bridge/bridge.hpp"

#include "base/config.hpp"
#include "base/exceptions.hpp"
#include "util/log_line.hpp"
#include "util/text.hpp"

namespace vocalink {

using util::log_line;
using util::loop_now;

bridge::bridge(std::string bridge_id, audio_policy_maker make_policy)
    : id(std::move(bridge_id)), last_change(loop_now()), audio(make_policy(id, streams)) {
    log_line("bridge", id) << "created";
    const double period = config::instance().idle_check_period();
    timeout_timer.set<bridge, &bridge::bridge_timeout_callback>(this);
    timeout_timer.start(period, period);
}

bridge::~bridge() {
    while (!streams.empty()) {
        let_go(*streams.begin()->second);
    }
    deleted_signal.emit(id);
    log_line("bridge", id) << "destroyed";
}

void bridge::add_stream(stream* member) {
    if (find_stream(member->id) != nullptr) {
        throw bridge_exception(
            util::format("bridge(%s): stream %s already exists", id.c_str(), member->id.c_str()));
    }
    // The connection is the first listener. A second one is another bridge.
    if (member->deleted_signal.connections() > 1) {
        throw bridge_exception(
            util::format("bridge(%s): stream %s is already connected to a bridge", id.c_str(),
                         member->id.c_str()));
    }
    streams.emplace(member->id, member);
    member->deleted_signal.connect(this, &bridge::member_ended);
    try {
        audio->joined(*member);
    } catch (...) {
        member->deleted_signal.disconnect(this, &bridge::member_ended);
        streams.erase(member->id);
        throw;
    }
    last_change = loop_now();
    log_line("bridge", id) << "stream(" << member->id << ") joined.";
}

void bridge::remove_stream(std::string stream_id) {
    stream* const member = find_stream(stream_id);
    if (member == nullptr) {
        throw bridge_exception(util::format("bridge(%s): stream %s does not exist, cannot remove",
                                            id.c_str(), stream_id.c_str()));
    }
    let_go(*member);
}

/** Has the other members forget the SSRC of a prompt or digit that has ended. */
void bridge::member_ended(std::string stream_id) {
    if (const auto source = find_stream(stream_id)->get_source()) {
        for (const auto& [member_id, member] : streams) {
            if (member_id != stream_id) { // only the base part of the ended member is left
                member->forget_source(*source);
            }
        }
    }
    remove_stream(std::move(stream_id));
}

void bridge::let_go(stream& member) {
    member.deleted_signal.disconnect(this, &bridge::member_ended);
    if (streams.erase(member.id) == 0) {
        log_line("bridge", id) << "WARNING: stream(" << member.id
                               << ") not found in bridge, ignoring remove_stream request.";
        return;
    }
    audio->left(member);
    last_change = loop_now();
    log_line("bridge", id) << "stream(" << member.id << ") removed.";
}

stream* bridge::find_stream(const std::string& stream_id) const {
    const auto found = streams.find(stream_id);
    return found == streams.end() ? nullptr : found->second;
}

void bridge::bridge_timeout_callback(ev::timer&, int) {
    const double timeout = config::instance().timeout_seconds;
    if (timeout > loop_now() - last_change || !streams.empty()) {
        return;
    }
    notify_signal.emit("TIMEOUT BRIDGE " + id + "\n");
    delete this;
}

} // namespace vocalink
