// SPDX-License-Identifier: GPL-3.0-or-later
// Who may hear a stream, and whom it wants to hear.
#pragma once

#include <deque>
#include <ostream>
#include <string>
#include <vector>

namespace vocalink {

/** The rules of one stream. Flags and lists are independent: clearing a flag keeps its list.
 *  Belongs to its stream; loop thread only. */
class routing_rules {
  public:
    void set_targets(const std::deque<std::string>& ids);
    void clear_targets() { targets.clear(); }
    void set_restricted(bool on) { restricted = on; }
    void set_sources(const std::deque<std::string>& ids);
    void clear_sources() { sources.clear(); }
    void set_selective(bool on) { selective = on; }

    /** Whether only the targets may hear this stream. */
    [[nodiscard]] bool is_restricted() const { return restricted; }
    /** Whether this stream hears its sources only. */
    [[nodiscard]] bool is_selective() const { return selective; }
    /** The speakers of a selective stream, ascending. */
    [[nodiscard]] const std::vector<std::string>& get_sources() const { return sources; }

    /** Whether the stream of that id may hear this one. */
    [[nodiscard]] bool may_be_heard_by(const std::string& listener_id) const {
        return !restricted || is_target(listener_id);
    }
    /** Whether this stream wants to hear the stream of that id. */
    [[nodiscard]] bool wants_to_hear(const std::string& speaker_id) const {
        return !selective || is_source(speaker_id);
    }

    /** The targets of a restricted stream, a blank before each, for the listings. */
    void write_targets(std::ostream& os) const;

  private:
    [[nodiscard]] bool is_target(const std::string& id) const;
    [[nodiscard]] bool is_source(const std::string& id) const;

    bool restricted = false;
    bool selective = false;
    std::vector<std::string> targets; // sorted, no duplicates
    std::vector<std::string> sources; // sorted, no duplicates
};

} // namespace vocalink
