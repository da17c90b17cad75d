// SPDX-License-Identifier: GPL-3.0-or-later
// Commands that end, join and part media objects.
#include "base/exceptions.hpp"
#include "control/commands.hpp"
#include "control/connection.hpp"
#include "control/word_table.hpp"
#include "util/log_line.hpp"

#include <optional>
#include <sstream>

namespace vocalink {

using util::log_line;

namespace {

command_result delete_stream(owned_objects& owner, const std::string& id) {
    stream* const target = owner.find_stream(id);
    if (target == nullptr) {
        return no_such_stream;
    }
    std::ostringstream reply;
    reply << "SUCCESS";
    target->output_stats(reply);
    delete target;
    log_line() << "-- removed stream " << id;
    return reply.str();
}

// A leave takes some microseconds, most of them for its log line.
constexpr int leaves_per_step = 100;

command_result delete_bridge(owned_objects& owner, const std::string& id) {
    if (owner.find_bridge(id) == nullptr) {
        return no_such_bridge;
    }
    return command_result::in_steps([&owner, id]() -> std::optional<std::string> {
        bridge* const target = owner.find_bridge(id);
        for (int i = 0; i < leaves_per_step; ++i) {
            if (target == nullptr || target->members().empty()) {
                delete target;
                return "SUCCESS";
            }
            target->remove_stream(target->members().begin()->second->id);
        }
        return std::nullopt;
    });
}

struct deletable_type {
    std::string_view word;
    command_result (*end)(owned_objects& owner, const std::string& id);
    bool listed = true;
};

constexpr deletable_type deletable_types[] = {
    {"stream", delete_stream},
    {"bridge", delete_bridge},
};

} // namespace

command_result delete_object(connection& caller, word_list& words) {
    if (words.size() < 2) {
        throw command_exception(
            "delete command takes at least two arguments: 'type id [type_args]'");
    }
    const deletable_type& type =
        row_of(deletable_types, take_word(words),
               {"delete: unknown object type", "available types are: ", ", "});
    return type.end(caller.objects, take_word(words));
}

command_result join_bridge(connection& caller, word_list& words) {
    if (words.size() != 2) {
        throw command_exception("join command takes two arguments: 'bridge_id stream_id'");
    }
    bridge* const target = caller.objects.find_bridge(words[0]);
    if (target == nullptr) {
        return no_such_bridge;
    }
    stream* const member = caller.objects.find_stream(words[1]);
    if (member == nullptr) {
        return no_such_stream;
    }
    target->add_stream(member);
    return "SUCCESS";
}

command_result leave_bridge(connection& caller, word_list& words) {
    if (words.size() != 2) {
        throw command_exception("leave command takes two arguments: 'bridge_id stream_id'");
    }
    bridge* const target = caller.objects.find_bridge(words[0]);
    if (target == nullptr) {
        return no_such_bridge;
    }
    target->remove_stream(words[1]);
    return "SUCCESS";
}

} // namespace vocalink
