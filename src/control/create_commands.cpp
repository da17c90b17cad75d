// SPDX-License-Identifier: GPL-3.0-or-later
// The command that creates streams and bridges.
#include "audio/codec.hpp"
#include "audio/sound_reader_thread.hpp"
#include "base/exceptions.hpp"
#include "control/commands.hpp"
#include "control/connection.hpp"
#include "control/word_table.hpp"
#include "streams/alsa_stream.hpp"
#include "streams/dtmf_stream.hpp"
#include "streams/rtp_stream.hpp"
#include "streams/sound_stream.hpp"
#include "streams/tone_stream.hpp"
#include "streams/wav_stream.hpp"
#include "util/log_line.hpp"

#include <cstdlib>
#include <memory>

namespace vocalink {

using util::log_line;

namespace {

/** One type that "new" creates. */
struct object_type {
    std::string_view word;
    const char* (*refuse_id)(const owned_objects& owner, const std::string& id);
    std::size_t word_count; // after the id
    const char* usage;      // the error for any other number of words
    /** Creates the object. The caller has checked the number of words and that the id is free. */
    command_result (*create)(connection& caller, const std::string& id, word_list& words);
    bool listed = true; // named in the error for an unknown type
};

/** @return the error when the id is taken, null when it is free */
const char* taken_stream(const owned_objects& owner, const std::string& id) {
    return owner.find_stream(id) == nullptr ? nullptr : "ERROR stream already exists";
}

const char* taken_bridge(const owned_objects& owner, const std::string& id) {
    return owner.find_bridge(id) == nullptr ? nullptr : "ERROR bridge already exists";
}

command_result create_rtp_stream(connection& caller, const std::string& id, word_list& words) {
    const int port = endpoint_port(words[2]);
    auto created = std::make_unique<rtp_stream>(id, words[0], words[1], port, words[3]);
    const rtp_stream& adopted = caller.objects.adopt(std::move(created));
    return "SUCCESS " + adopted.local_port() + " " + adopted.local_ip(false);
}

/** Replies when the reader has opened the file and read its beginning. */
command_result create_sound_stream(connection&, const std::string& id, word_list& words) {
    const std::string path = words[0];
    const bool loop = words[1] == "loop";
    const std::string encoding = words[2];
    const auto frame_bytes = static_cast<std::size_t>(codec_of_word(encoding).frame_bytes);
    const auto reply = std::make_shared<pending_reply>();
    auto create = [=](owned_objects& owner, const std::shared_ptr<sound_frames>& frames) {
        auto created = std::make_unique<sound_stream>(id, path, loop, encoding, frames);
        const sound_stream& adopted = owner.adopt(std::move(created));
        return "SUCCESS " + adopted.get_filename() + " " + adopted.get_loopflag();
    };
    SoundReaderThread::instance().open(
        std::make_shared<sound_frames>(path, frame_bytes, loop),
        [reply, create](const std::shared_ptr<sound_frames>& opened) {
            reply->finish([=](owned_objects& owner) { return create(owner, opened); });
        });
    return reply;
}

command_result create_dtmf_stream(connection& caller, const std::string& id, word_list& words) {
    const int duration_ms = std::atoi(words[1].c_str());
    const int payload_type = std::atoi(words[2].c_str());
    caller.objects.adopt(std::make_unique<dtmf_stream>(id, words[0], payload_type, duration_ms));
    return "SUCCESS";
}

command_result create_alsa_stream(connection& caller, const std::string& id, word_list&) {
    caller.objects.adopt(std::make_unique<alsa_stream>(id));
    return "SUCCESS";
}

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

command_result create_tone_stream(connection& caller, const std::string& id, word_list& words) {
    const ToneType type = tone_type_of(words[0]);
    const bool detection = words[1] == "1" || words[1] == "ON";
    caller.objects.adopt(std::make_unique<tone_stream>(id, type, detection));
    return "SUCCESS";
}

command_result create_bridge(connection& caller, const std::string& id, word_list&) {
    caller.objects.adopt(std::make_unique<bridge>(id));
    return "SUCCESS";
}

command_result create_conference(connection& caller, const std::string& id, word_list&) {
    caller.objects.adopt(std::make_unique<bridge>(id, make_conference));
    return "SUCCESS";
}

/** Has the file writer open the file, and creates the stream when that succeeds. */
command_result create_wav_stream(connection& caller, const std::string& id, word_list& words) {
    struct opening {
        std::unique_ptr<wav_recording> file;
        std::string recording_name;
    };
    const auto opened = std::make_shared<opening>(opening{nullptr, words[0]});
    const auto reply = std::make_shared<pending_reply>();
    reply->undo = [opened] { opened->file.reset(); }; // at once: the file writer may stop next
    opened->file = std::make_unique<wav_recording>(
        caller.name, opened->recording_name, id, [opened, reply, id](int error) {
            reply->finish([opened, id, error](owned_objects& owner) -> command_result {
                if (error != 0) {
                    log_line("stream", id)
                        << "creating recording failed with id " << opened->recording_name;
                    return "ERROR create recording failed";
                }
                const std::string path = opened->file->get_path();
                owner.adopt(std::make_unique<wav_stream>(id, std::move(opened->file)));
                return "SUCCESS " + path;
            });
        });
    return reply;
}

constexpr object_type object_types[] = {
    {"rtp_stream", taken_stream, 4,
     "new rtp_stream command requires four arguments: 'id ip_address port encoding'",
     create_rtp_stream},
    {"sound_stream", taken_stream, 3,
     "new sound_stream command requires four arguments: 'id soundfilepath loop|noloop encoding'",
     create_sound_stream},
    {"dtmf_stream", taken_stream, 3,
     "new dtmf_stream command requires four arguments: 'id digit duration payload_type'",
     create_dtmf_stream, false},
    // Deliberate: docs/behaviours.md#wrong-type-in-an-error
    {"alsa_stream", taken_stream, 0, "new dtmf_stream command requires one argument: 'id'",
     create_alsa_stream, false},
    {"vocalink", taken_bridge, 0, "new vocalink command requires one argument: 'id'",
     create_bridge},
    {"tone_stream", taken_stream, 2,
     "new tone_stream command requires three arguments: 'id type detection'", create_tone_stream,
     false},
    {"conference", taken_bridge, 0, "new conference command requires one argument: 'id'",
     create_conference, false},
    {"wav_stream", taken_stream, 1, "new wav_stream command requires two arguments: 'id name'",
     create_wav_stream, false},
};

} // namespace

command_result create_object(connection& caller, word_list& words) {
    if (words.size() < 2) {
        throw command_exception("new command takes at least two arguments: 'type id [type_args]'");
    }
    const object_type& type = row_of(object_types, take_word(words),
                                     {"new: unknown object type", "available types are ", ", "});
    const std::string id = take_word(words);
    if (words.size() != type.word_count) {
        throw command_exception(type.usage);
    }
    if (const char* const refusal = type.refuse_id(caller.objects, id); refusal != nullptr) {
        return refusal;
    }
    return type.create(caller, id, words);
}

} // namespace vocalink
