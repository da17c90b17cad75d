// SPDX-License-Identifier: GPL-3.0-or-later
// Commands that create, end and join media objects.
#include "control/connection.hpp"
#include "streams/rtp_stream.hpp"
#include "util/exceptions.hpp"
#include "util/log_line.hpp"
#include "util/text.hpp"

#include <cstdlib>
#include <sstream>

namespace vocalink {

using util::log_line;

namespace {

// Well-formed commands that name a wrong id are answered like this, without an exception.
constexpr const char* stream_exists = "ERROR stream already exists";
constexpr const char* bridge_exists = "ERROR bridge already exists";
constexpr const char* no_such_stream = "ERROR can't find stream";
constexpr const char* no_such_bridge = "ERROR can't find bridge";

std::string take_word(std::deque<std::string>& words) {
    std::string word = std::move(words.front());
    words.pop_front();
    return word;
}

} // namespace

std::string connection::_new(words& arguments) {
    struct creator {
        const char* type;
        std::string (connection::*create)(const std::string& id, words& arguments);
    };
    static constexpr creator creators[] = {
        {"rtp_stream", &connection::_new_rtp_stream},
        {"vocalink", &connection::_new_vocalink},
    };

    if (arguments.size() < 2) {
        throw command_exception("new command takes at least two arguments: 'type id [type_args]'");
    }
    const std::string type = take_word(arguments);
    const std::string id = take_word(arguments);
    for (const creator& entry : creators) {
        if (type == entry.type) {
            return (this->*entry.create)(id, arguments);
        }
    }
    throw command_exception(util::format("new: unknown object type '%s', available types are "
                                         "rtp_stream, sound_stream, vocalink",
                                         type.c_str()));
}

std::string connection::_new_rtp_stream(const std::string& id, words& arguments) {
    if (arguments.size() != 4) {
        throw command_exception("new rtp_stream command requires four arguments: "
                                "'id ip_address port encoding'");
    }
    if (find_stream(id) != nullptr) {
        return stream_exists;
    }
    const std::string local_ip = take_word(arguments);
    const std::string remote_ip = take_word(arguments);
    const int remote_port = std::atoi(take_word(arguments).c_str());
    const std::string encoding = take_word(arguments);
    auto* const made = new rtp_stream(id, local_ip, remote_ip, remote_port, encoding);
    adopt(made);
    return "SUCCESS " + made->local_port() + " " + made->local_ip(false);
}

std::string connection::_new_vocalink(const std::string& id, words& arguments) {
    if (!arguments.empty()) {
        throw command_exception("new vocalink command requires one argument: 'id'");
    }
    if (find_bridge(id) != nullptr) {
        return bridge_exists;
    }
    adopt(new bridge(id));
    return "SUCCESS";
}

void connection::adopt(stream* made) {
    streams_created += 1;
    streams[made->id] = made;
    made->deleted_signal.connect(this, &connection::handle_deleted_stream);
    made->notify_signal.connect(this, &connection::handle_notification);
}

void connection::adopt(bridge* made) {
    bridges_created += 1;
    bridges[made->id] = made;
    made->deleted_signal.connect(this, &connection::handle_deleted_bridge);
    made->notify_signal.connect(this, &connection::handle_notification);
}

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
