// SPDX-License-Identifier: GPL-3.0-or-later
// Commands that end, join and part media objects.
#include "base/exceptions.hpp"
#include "control/command_words.hpp"
#include "control/connection.hpp"
#include "util/log_line.hpp"
#include "util/text.hpp"

#include <sstream>

namespace vocalink {

using util::log_line;

std::string connection::_delete(words& arguments) {
    if (arguments.size() < 2) {
        throw command_exception(
            "delete command takes at least two arguments: 'type id [type_args]'");
    }
    const std::string type = take_word(arguments);
    const std::string id = take_word(arguments);
    if (type == "stream") {
        stream* const ending = find_stream(id);
        if (ending == nullptr) {
            return no_such_stream;
        }
        std::ostringstream reply;
        reply << "SUCCESS";
        ending->output_stats(reply);
        delete ending;
        log_line() << "-- removed stream " << id;
        return reply.str();
    }
    if (type == "bridge") {
        bridge* const ending = find_bridge(id);
        if (ending == nullptr) {
            return no_such_bridge;
        }
        delete ending;
        return "SUCCESS";
    }
    throw command_exception(util::format(
        "delete: unknown object type '%s', available types are: stream, bridge", type.c_str()));
}

std::string connection::_join(words& arguments) {
    if (arguments.size() != 2) {
        throw command_exception("join command takes two arguments: 'bridge_id stream_id'");
    }
    bridge* const joined = find_bridge(arguments[0]);
    if (joined == nullptr) {
        return no_such_bridge;
    }
    stream* const joining = find_stream(arguments[1]);
    if (joining == nullptr) {
        return no_such_stream;
    }
    joined->add_stream(joining);
    return "SUCCESS";
}

std::string connection::_leave(words& arguments) {
    if (arguments.size() != 2) {
        throw command_exception("leave command takes two arguments: 'bridge_id stream_id'");
    }
    bridge* const left = find_bridge(arguments[0]);
    if (left == nullptr) {
        return no_such_bridge;
    }
    left->remove_stream(arguments[1]);
    return "SUCCESS";
}

} // namespace vocalink
