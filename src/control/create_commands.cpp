// SPDX-License-Identifier: GPL-3.0-or-later
// Commands that create streams and bridges.
#include "base/exceptions.hpp"
#include "control/command_words.hpp"
#include "control/connection.hpp"
#include "streams/alsa_stream.hpp"
#include "streams/dtmf_stream.hpp"
#include "streams/rtp_stream.hpp"
#include "streams/sound_stream.hpp"
#include "streams/tone_stream.hpp"
#include "util/text.hpp"

#include <cstdlib>

namespace vocalink {

namespace {

ToneType tone_type_of(const std::string& word) {
    if (word == "BELLMF") {
        return BELLMF;
    }
    if (word == "R2MF") {
        return R2MF;
    }
    if (word == "DTMF") {
        return DTMF;
    }
    throw command_exception("tone_stream type must be BELLMF, R2MF, or DTMF");
}

} // namespace

std::string connection::_new(words& arguments) {
    struct creator {
        const char* type;
        std::string (connection::*create)(const std::string& id, words& arguments);
    };
    static constexpr creator creators[] = {
        {"rtp_stream", &connection::_new_rtp_stream},
        {"sound_stream", &connection::_new_sound_stream},
        {"dtmf_stream", &connection::_new_dtmf_stream},
        {"alsa_stream", &connection::_new_alsa_stream},
        {"vocalink", &connection::_new_vocalink},
        {"tone_stream", &connection::_new_tone_stream},
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

std::string connection::_new_sound_stream(const std::string& id, words& arguments) {
    if (arguments.size() != 3) {
        throw command_exception("new sound_stream command requires four arguments: "
                                "'id soundfilepath loop|noloop encoding'");
    }
    if (find_stream(id) != nullptr) {
        return stream_exists;
    }
    const std::string path = take_word(arguments);
    const bool loop = take_word(arguments) == "loop";
    const std::string encoding = take_word(arguments);
    auto* const made = new sound_stream(id, path, loop, encoding);
    adopt(made);
    return "SUCCESS " + made->get_filename() + " " + made->get_loopflag();
}

std::string connection::_new_dtmf_stream(const std::string& id, words& arguments) {
    if (arguments.size() != 3) {
        throw command_exception("new dtmf_stream command requires four arguments: "
                                "'id digit duration payload_type'");
    }
    if (find_stream(id) != nullptr) {
        return stream_exists;
    }
    const std::string digit = take_word(arguments);
    const int duration = std::atoi(take_word(arguments).c_str());
    const int payload_type = std::atoi(take_word(arguments).c_str());
    adopt(new dtmf_stream(id, digit, payload_type, duration));
    return "SUCCESS";
}

std::string connection::_new_alsa_stream(const std::string& id, words& arguments) {
    if (!arguments.empty()) {
        // The message has always named the wrong type; controllers match it.
        throw command_exception("new dtmf_stream command requires one argument: 'id'");
    }
    if (find_stream(id) != nullptr) {
        return stream_exists;
    }
    adopt(new alsa_stream(id));
    return "SUCCESS";
}

std::string connection::_new_tone_stream(const std::string& id, words& arguments) {
    if (arguments.size() != 2) {
        throw command_exception("new tone_stream command requires three arguments: "
                                "'id type detection'");
    }
    if (find_stream(id) != nullptr) {
        return stream_exists;
    }
    const ToneType type = tone_type_of(take_word(arguments));
    const std::string detection = take_word(arguments);
    adopt(new tone_stream(id, type, detection == "1" || detection == "ON"));
    return "SUCCESS";
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

} // namespace vocalink
