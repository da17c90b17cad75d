// SPDX-License-Identifier: GPL-3.0-or-later
// The streams and bridges of one controller, by their ids.
#include "control/owned_objects.hpp"

namespace vocalink {

void owned_objects::end_one() {
    if (!streams_by_id.empty()) {
        delete streams_by_id.begin()->second;
    } else if (!bridges_by_id.empty()) {
        delete bridges_by_id.begin()->second;
    }
}

void owned_objects::end_all() {
    while (!empty()) {
        end_one();
    }
}

void owned_objects::enter(stream& created) {
    streams_created += 1;
    streams_by_id[created.id] = &created;
    created.deleted_signal.connect(this, &owned_objects::handle_deleted_stream);
    const auto entry = notices.try_emplace(&created, created.id, notify_signal).first;
    created.notify_signal.connect(&entry->second, &stream_notices::handle_notification);
}

void owned_objects::enter(bridge& created) {
    bridges_created += 1;
    bridges_by_id[created.id] = &created;
    created.deleted_signal.connect(this, &owned_objects::handle_deleted_bridge);
    created.notify_signal.connect(this, &owned_objects::handle_bridge_notification);
}

void owned_objects::handle_deleted_stream(std::string id) {
    const auto entry = streams_by_id.find(id);
    notices.erase(entry->second);
    streams_by_id.erase(entry);
}

void owned_objects::handle_deleted_bridge(std::string id) {
    bridges_by_id.erase(id);
}

void owned_objects::handle_bridge_notification(std::string text) {
    notify_signal.emit({.text = std::move(text)});
}

stream* owned_objects::find_stream(const std::string& id) const {
    const auto found = streams_by_id.find(id);
    return found == streams_by_id.end() ? nullptr : found->second;
}

bridge* owned_objects::find_bridge(const std::string& id) const {
    const auto found = bridges_by_id.find(id);
    return found == bridges_by_id.end() ? nullptr : found->second;
}

} // namespace vocalink
