// SPDX-License-Identifier: GPL-3.0-or-later
// Who may hear a stream, and whom it wants to hear.
#include "streams/routing_rules.hpp"

#include <algorithm>

namespace vocalink {

namespace {

void assign_sorted(std::vector<std::string>& list, const std::deque<std::string>& ids) {
    list.assign(ids.begin(), ids.end());
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
}

} // namespace

void routing_rules::set_targets(const std::deque<std::string>& ids) {
    assign_sorted(targets, ids);
}

void routing_rules::set_sources(const std::deque<std::string>& ids) {
    assign_sorted(sources, ids);
}

void routing_rules::write_targets(std::ostream& os) const {
    if (restricted) {
        for (const std::string& target : targets) {
            os << ' ' << target;
        }
    }
}

bool routing_rules::is_target(const std::string& id) const {
    return std::binary_search(targets.begin(), targets.end(), id);
}

bool routing_rules::is_source(const std::string& id) const {
    return std::binary_search(sources.begin(), sources.end(), id);
}

} // namespace vocalink
