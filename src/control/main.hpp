// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon: its listen socket, its connections, and the order of start and stop.
#pragma once

#include "audio/sound_reader_thread.hpp"
#include "control/command_turns.hpp"
#include "control/connection.hpp"
#include "control/metrics.hpp"
#include "recording/logging_thread.hpp"
#include "recording/rec_mover_thread.hpp"
#include "util/event_loop.hpp"
#include "util/loop_calls.hpp"
#include "util/packet_poll.hpp"
#include "util/service_notifier.hpp"
#include "util/signal.hpp"
#include "util/unique_fd.hpp"

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include <sys/stat.h>
#include <sys/un.h>

namespace vocalink {

/** Accepts controllers on a Unix-domain socket and runs the event loop until SIGINT or SIGTERM. Owned by the
 *  process entry; owns every connection and the recording workers. Loop thread only. */
class main {
  public:
    /** Begins to listen. Ends the process with status 1 when it cannot.
     *  @param socket_path  not copied; a stale file of that name is removed */
    explicit main(const char* socket_path);
    main(const main&) = delete;
    main& operator=(const main&) = delete;

    /** Runs the loop until nothing is left to watch. @return 0 */
    int run();

    /** Ends every connection and everything that the loop watches, so that run() returns. */
    void stop();

    /** The connection of that name, or null. */
    [[nodiscard]] connection* find_connection(const std::string& name) const;

  private:
    void handle_signal(ev::sig& signal, int events);
    void ignore_signals();

    // Listening: main_listen.cpp
    void setup_listen_socket(const char* path);
    void handle_new_connection(ev::io& io, int events);
    void pause_accepting(int error);
    void resume_accepting(ev::timer& timer, int events);
    void remove_socket();
    void handle_deleted_connection(std::string name);

    // Recording notices: main_notices.cpp
    void setup_rec_mover_pipe();
    void handle_rec_thread_output(ev::io& io, int events);
    void split_notices(std::string_view chunk);
    void deliver_notice(const std::string& line);

    util::service_notifier service_manager;
    ev::sig sigint_watcher;
    ev::sig sigterm_watcher;   // what service managers send
    util::unique_fd listen_fd; // the listening socket
    sockaddr_un listen_addr{}; // the bound address, later that of each peer
    ev::io listen_watcher;
    ev::timer accept_retry_timer;                   // runs while the system refuses descriptors
    bool accept_failing = false;                    // since the last successful accept
    int connection_counter = 0;                     // names are never used twice
    util::packet_poll sockets;                      // of the streams
    command_turns turns;                            // of the connections
    std::map<std::string, connection*> connections; // owned, by name
    struct stat bound_socket {};                    // our socket file, to know it again
    const char* socket_path;                        // as given; unlinked at the end

    util::unique_fd rec_pipe_read_fd;
    util::unique_fd rec_pipe_write_fd; // the mover's end
    ev::io rec_pipe_watcher;
    std::string notice;           // read from the pipe, not yet a whole line
    bool notice_too_long = false; // the rest of it is left out
    RecMoverThread rec_mover;
    LoggingThread logger; // after the mover, to which it hands its files
    SoundReaderThread sound_reader;
    std::unique_ptr<metrics> reported; // with option -m
    util::loop_calls calls_of_workers; // after the workers: what it drops may still ask them
};

} // namespace vocalink
