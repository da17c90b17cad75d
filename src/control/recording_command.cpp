// SPDX-License-Identifier: GPL-3.0-or-later
// The command that starts and stops recordings.
#include "base/exceptions.hpp"
#include "control/commands.hpp"
#include "control/connection.hpp"
#include "recording/recording.hpp"
#include "util/log_line.hpp"

namespace vocalink {

using util::log_line;

namespace {

/** Completes a start when the file is open or has been refused. The stream may have ended by then.
 *  @return the reply */
std::string finish_start(owned_objects& objects, const std::string& stream_id,
                         const std::string& recording_name, const std::string& path, int error) {
    stream* const target = objects.find_stream(stream_id);
    if (error == 0) {
        if (target != nullptr) {
            target->release_recording(recording_name);
        }
        return "SUCCESS " + path;
    }
    log_line("stream", stream_id) << "creating recording failed with id " << recording_name;
    if (target != nullptr) {
        target->remove_recording(recording_name);
    }
    return "ERROR create recording failed";
}

/** Starts recording at once, and replies when the file is open. */
command_result start_recording(const connection& caller, stream& target,
                               const std::string& recording_name, const std::string& type_word) {
    if (target.has_recording(recording_name)) {
        log_line("stream", target.id) << "already has a recording with id " << recording_name;
        return "ERROR already recording on stream";
    }
    const auto type = recording_type_of(type_word);
    if (!type) {
        log_line("stream", target.id) << "unable to create recording " << recording_name
                                      << " with unknown type " << type_word;
        return "ERROR unknown type";
    }
    const auto reply = std::make_shared<pending_reply>();
    const auto path = std::make_shared<std::string>();
    auto opened = [reply, path, id = target.id, recording_name](int error) {
        reply->finish([path, id, recording_name, error](owned_objects& objects) {
            return finish_start(objects, id, recording_name, *path, error);
        });
    };
    auto started =
        std::make_unique<recording>(caller.name, recording_name, target.id, *type, opened);
    *path = started->get_path();
    target.add_recording(recording_name, std::move(started));
    return reply;
}

command_result stop_recording(const connection& caller, stream& target,
                              const std::string& recording_name) {
    if (!target.has_recording(recording_name)) {
        // Deliberate: docs/behaviours.md#connection-in-the-log
        log_line("stream", caller.name)
            << "attempt to stop non-existent recording " << recording_name;
        return "ERROR unknown recording";
    }
    target.remove_recording(recording_name);
    return "SUCCESS";
}

} // namespace

command_result start_or_stop_recording(connection& caller, word_list& words) {
    const bool start = words.size() == 4 && words.front() == "start";
    const bool stop = words.size() == 3 && words.front() == "stop";
    if (!start && !stop) {
        throw command_exception("recording command usage: 'start' 'stream' 'recording_name' 'type' "
                                "| 'stop' 'stream' 'recording_name'");
    }
    words.pop_front();
    stream* const target = caller.objects.find_stream(take_word(words));
    if (target == nullptr) {
        return no_such_stream;
    }
    const std::string recording_name = take_word(words);
    return start ? start_recording(caller, *target, recording_name, take_word(words))
                 : stop_recording(caller, *target, recording_name);
}

} // namespace vocalink
