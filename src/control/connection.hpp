// SPDX-License-Identifier: GPL-3.0-or-later
// One controller: its commands, its replies and notices, and the objects it has made.
#pragma once

#include "bridge/bridge.hpp"
#include "control/line_output.hpp"
#include "streams/stream.hpp"
#include "util/event_loop.hpp"
#include "util/signal.hpp"
#include "util/unique_fd.hpp"

#include <deque>
#include <map>
#include <string>

namespace vocalink {

/** An accepted client of the control socket. Every command line gets one reply line; notices stand
 *  between them. Owns every stream and bridge made through it: they end with it, and their ids
 *  count only within it.
 *
 *  Owned by main; ends itself at the end of its input, as the last act of handle_input. Loop thread
 *  only. */
class connection {
  public:
    /** Greets the client and begins to read from the accepted socket. */
    connection(const char* name, util::unique_fd accepted);
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;
    ~connection();

    /** Emitted with the name at the end, when streams and bridges are gone. */
    util::signal1<std::string> deleted;

    /** Runs one command. @return the reply, ended by one newline */
    [[nodiscard]] std::string handle_command(const char* line);

    /** Sends a notice to the client; the line end is added. */
    void notify(std::string text);

  private:
    using words = std::deque<std::string>;
    using handler = std::string (connection::*)(words&);
    struct command {
        const char* word;
        handler run;
    };
    static const command command_table[];

    // Framing, dispatch and notices: connection.cpp
    void handle_input(ev::io& io, int events);
    void run_lines(char* chunk);
    void hold_back(const char* lines);
    void resume_lines();
    void handle_resume(ev::timer& timer, int events);
    [[nodiscard]] std::string dispatch(words& arguments);
    std::string _recover(words& arguments);
    void handle_notification(std::string text);
    void handle_deleted_stream(std::string id);
    void handle_deleted_bridge(std::string id);
    [[nodiscard]] stream* find_stream(const std::string& id) const;
    [[nodiscard]] bridge* find_bridge(const std::string& id) const;

    // Features of streams: feature_commands.cpp
    std::string _set(words& arguments);
    std::string _clear(words& arguments);
    std::string _play(words& arguments);

    // Creating objects: create_commands.cpp
    std::string _new(words& arguments);
    std::string _new_rtp_stream(const std::string& id, words& arguments);
    std::string _new_sound_stream(const std::string& id, words& arguments);
    std::string _new_dtmf_stream(const std::string& id, words& arguments);
    std::string _new_alsa_stream(const std::string& id, words& arguments);
    std::string _new_vocalink(const std::string& id, words& arguments);
    std::string _new_tone_stream(const std::string& id, words& arguments);
    void adopt(stream* made);
    void adopt(bridge* made);

    // Recording: recording_command.cpp
    std::string _recording(words& arguments);
    std::string start_recording(stream& recorded, const std::string& recording_name,
                                const std::string& type_word);
    std::string stop_recording(stream& recorded, const std::string& recording_name);

    // Telling: listing_commands.cpp
    std::string _list(words& arguments);
    std::string _show(words& arguments);
    std::string _queue_count(words& arguments);
    [[nodiscard]] std::string list_streams() const;
    [[nodiscard]] std::string list_bridges() const;
    void show_streams(const words& ids) const;
    void show_bridges(const words& ids) const;

    // Ending, joining and parting objects: object_commands.cpp
    std::string _delete(words& arguments);
    std::string _join(words& arguments);
    std::string _leave(words& arguments);

    std::map<std::string, bridge*> bridges; // owned, by id
    std::map<std::string, stream*> streams; // owned, by id
    const std::string name;                 // decimal, given by main
    util::unique_fd fd;
    line_output output;        // replies and notices, in order
    std::string waiting_lines; // commands held back for a slow client or a busy turn of the loop
    long long dropped_notices = 0; // while the client did not read
    int bridges_created = 0;       // successful creations, for a debugger
    int streams_created = 0;
    ev::timer resume_timer; // runs while commands wait for the loop's next turn
    ev::io input_watcher;   // after fd: stops before the descriptor closes
};

} // namespace vocalink
