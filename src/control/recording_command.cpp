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

command_result start_recording(const connection& caller, stream& recorded,
                               const std::string& recording_name, const std::string& type_word) {
    if (recorded.has_recording(recording_name)) {
        log_line("stream", recorded.id) << "already has a recording with id " << recording_name;
        return "ERROR already recording on stream";
    }
    const auto type = recording_type_of(type_word);
    if (!type) {
        log_line("stream", recorded.id) << "unable to create recording " << recording_name
                                        << " with unknown type " << type_word;
        return "ERROR unknown type";
    }
    auto started = std::make_unique<recording>(caller.name, recording_name, recorded.id, *type);
    if (!started->is_open()) {
        log_line("stream", recorded.id) << "creating recording failed with id " << recording_name;
        return "ERROR create recording failed";
    }
    const std::string path = started->get_path();
    recorded.add_recording(recording_name, std::move(started));
    return "SUCCESS " + path;
}

command_result stop_recording(const connection& caller, stream& recorded,
                              const std::string& recording_name) {
    if (!recorded.has_recording(recording_name)) {
        // The connection's name stands where the stream's is expected; log readers know it so.
        log_line("stream", caller.name)
            << "attempt to stop non-existent recording " << recording_name;
        return "ERROR unknown recording";
    }
    recorded.remove_recording(recording_name);
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
    stream* const recorded = caller.objects.find_stream(take_word(words));
    if (recorded == nullptr) {
        return no_such_stream;
    }
    const std::string recording_name = take_word(words);
    return start ? start_recording(caller, *recorded, recording_name, take_word(words))
                 : stop_recording(caller, *recorded, recording_name);
}

} // namespace vocalink
