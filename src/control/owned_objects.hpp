// SPDX-License-Identifier: GPL-3.0-or-later
// The streams and bridges of one controller, by their ids.
#pragma once

#include "bridge/bridge.hpp"
#include "control/stream_notices.hpp"
#include "streams/stream.hpp"
#include "util/signal.hpp"

#include <map>
#include <memory>
#include <string>

namespace vocalink {

/** Owns every stream and bridge that one controller created, until it deletes them, they end
 *  themselves or this ends. Stream ids and bridge ids are separate. Loop thread only. */
class owned_objects {
  public:
    using stream_map = std::map<std::string, stream*>; // ordered: listings go by id
    using bridge_map = std::map<std::string, bridge*>;

    owned_objects() = default;
    owned_objects(const owned_objects&) = delete;
    owned_objects& operator=(const owned_objects&) = delete;
    ~owned_objects() { end_all(); }

    /** Carries the notices of all streams and bridges. */
    util::signal1<const notice&> notify_signal;

    /** Takes over a new stream, whose id must be free. @return the stream, for the reply */
    template <class Kind>
    Kind& adopt(std::unique_ptr<Kind> created) {
        Kind& adopted = *created.release();
        enter(adopted);
        return adopted;
    }

    /** The stream or bridge of that id, or null. */
    [[nodiscard]] stream* find_stream(const std::string& id) const;
    [[nodiscard]] bridge* find_bridge(const std::string& id) const;

    [[nodiscard]] const stream_map& streams() const { return streams_by_id; }
    [[nodiscard]] const bridge_map& bridges() const { return bridges_by_id; }

    [[nodiscard]] bool empty() const { return streams_by_id.empty() && bridges_by_id.empty(); }
    /** Ends the first stream, or the first bridge when no stream is left. */
    void end_one();
    /** Ends all streams, then all bridges. */
    void end_all();

  private:
    void enter(stream& created);
    void enter(bridge& created);
    void handle_deleted_stream(std::string id);
    void handle_deleted_bridge(std::string id);
    void handle_bridge_notification(std::string text);

    // Raw pointers, because each may end itself; its deletion signal then erases its entry.
    stream_map streams_by_id;
    bridge_map bridges_by_id;
    std::map<const stream*, stream_notices> notices;
    int streams_created = 0; // for a debugger
    int bridges_created = 0;
};

} // namespace vocalink
