// SPDX-License-Identifier: GPL-3.0-or-later
// Walking over streams and bridges in steps, while they come and go.
#pragma once

#include "bridge/bridge.hpp"
#include "control/command_words.hpp"
#include "control/owned_objects.hpp"

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace vocalink {

/** Meets the objects of a map in the order of their ids, one with each call. The map may change
 *  between calls. */
class id_cursor {
  public:
    /** @return null at the end */
    template <class Object>
    [[nodiscard]] Object* next(const std::map<std::string, Object*>& objects) {
        const auto found = last ? objects.upper_bound(*last) : objects.begin();
        if (found == objects.end()) {
            return nullptr;
        }
        last = found->first;
        return found->second;
    }

  private:
    std::optional<std::string> last; // id met last
};

/** Meets the objects that a command names, in its order, or all when it names none. Ids without an
 *  object are passed over. */
class named_objects {
  public:
    explicit named_objects(word_list listed) : all(listed.empty()), ids(std::move(listed)) {}

    /** @return null at the end */
    template <class Object>
    [[nodiscard]] Object* next(const std::map<std::string, Object*>& objects) {
        if (all) {
            return cursor.next(objects);
        }
        while (!ids.empty()) {
            if (const auto found = objects.find(take_word(ids)); found != objects.end()) {
                return found->second;
            }
        }
        return nullptr;
    }

  private:
    bool all;
    word_list ids;
    id_cursor cursor;
};

/** Meets bridges, and behind each its members, one row with each call. */
class bridge_walk {
  public:
    /** A bridge or a member of the bridge before it; neither at the end. */
    struct row {
        const bridge* begun = nullptr;
        stream* member = nullptr;
        [[nodiscard]] bool at_end() const { return begun == nullptr && member == nullptr; }
    };

    explicit bridge_walk(word_list ids) : bridges(std::move(ids)) {}

    [[nodiscard]] row next(const owned_objects& owner) {
        const bridge* const present = present_id ? owner.find_bridge(*present_id) : nullptr;
        if (present != nullptr) {
            if (stream* const member = members.next(present->members()); member != nullptr) {
                return {.member = member};
            }
        }
        const bridge* const begun = bridges.next(owner.bridges());
        if (begun != nullptr) {
            present_id = begun->id;
            members = {};
        }
        return {.begun = begun};
    }

  private:
    named_objects bridges;
    std::optional<std::string> present_id; // of the bridge whose members come
    id_cursor members;
};

} // namespace vocalink
