// SPDX-License-Identifier: GPL-3.0-or-later
// Which way audio moves after each join and leave.
#include "bridge/relay_mix.hpp"

#include "util/log_line.hpp"

namespace vocalink {

using util::log_line;

std::unique_ptr<audio_policy> make_relay_mix(const std::string& bridge_id,
                                             const bridge_members& members) {
    return std::make_unique<relay_mix>(bridge_id, members);
}

relay_mix::relay_mix(const std::string& bridge_id, const bridge_members& members)
    : id(bridge_id), streams(members) {}

void relay_mix::joined(stream&) {
    list_members();
    special_speakers.reserve(streams.size());
    frames.reserve(streams.size());
    if (streams.size() == 1) {
        enable_null_sync();
    } else if (streams.size() == 2) {
        const bool one_codec =
            streams.begin()->second->payload == streams.rbegin()->second->payload;
        if (!one_codec) {
            log_line() << "mixing two streams of different audio types";
        }
        disable_null_sync();
        if (one_codec) {
            enable_direct_sync();
        } else {
            start_mixing();
        }
    } else {
        if (streams.size() == 3) {
            disable_direct_sync();
            start_mixing();
        }
        join_pending = true;
    }
}

void relay_mix::left(stream&) {
    list_members();
    if (streams.size() == 2) {
        // Deliberate: docs/behaviours.md#pair-left-over
        enable_direct_sync();
        stop_mixing();
    } else if (streams.size() == 1) { // Deliberate: docs/behaviours.md#timer-goes-on
        disable_direct_sync();
        enable_null_sync();
    } else if (streams.empty()) {
        disable_null_sync();
    }
}

audio_mode relay_mix::mode() const {
    if (streams.empty()) {
        return {"vocalink", "empty"};
    }
    if (sync_second != nullptr) {
        return {"vocalink", "relay"};
    }
    return {"vocalink", sync_first != nullptr ? "drain" : "mix"};
}

} // namespace vocalink
