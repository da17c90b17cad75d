// SPDX-License-Identifier: GPL-3.0-or-later
// Synchronisation modes: a lone member is drained, a pair relays packet by packet.
#include "bridge/relay_mix.hpp"
#include "util/log_line.hpp"

namespace vocalink {

using util::log_line;

// Deliberate: docs/behaviours.md#disable-error-in-the-log

void relay_mix::enable_null_sync() {
    if (streams.empty()) {
        log_line("bridge", id) << "ERROR: enable_null_sync invoked but can't find any streams";
        return;
    }
    sync_first = streams.begin()->second;
    sync_first->sync_signal.connect(sync_first, &stream::handle_null_sync_signal);
}

void relay_mix::disable_null_sync() {
    if (sync_first == nullptr) {
        log_line("bridge", id) << "ERROR: disable_null_sync invoked but no stream initialized";
    } else {
        sync_first->sync_signal.disconnect(sync_first, &stream::handle_null_sync_signal);
    }
    sync_first = nullptr;
}

void relay_mix::enable_direct_sync() {
    if (streams.empty()) {
        log_line("bridge", id) << "ERROR: enable_direct_sync invoked but can't find first stream";
        return;
    }
    const auto first = streams.begin();
    sync_first = first->second;
    const auto second = std::next(first);
    if (second == streams.end()) {
        log_line("bridge", id) << "ERROR: enable_direct_sync invoked but can't find second stream";
        return;
    }
    sync_second = second->second;
    sync_first->sync_signal.connect(sync_second, &stream::handle_direct_sync_signal);
    sync_second->sync_signal.connect(sync_first, &stream::handle_direct_sync_signal);
}

void relay_mix::disable_direct_sync() {
    if (sync_first == nullptr || sync_second == nullptr) {
        log_line("bridge", id)
            << "ERROR: disable_direct_sync invoked but direct streampair not initialized";
    }
    if (sync_first != nullptr) {
        sync_first->sync_signal.disconnect(sync_second, &stream::handle_direct_sync_signal);
    }
    if (sync_second != nullptr) {
        sync_second->sync_signal.disconnect(sync_first, &stream::handle_direct_sync_signal);
    }
    sync_first = nullptr;
    sync_second = nullptr;
}

} // namespace vocalink
