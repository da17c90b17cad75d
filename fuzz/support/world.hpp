// SPDX-License-Identifier: GPL-3.0-or-later
// The machine as a target sees it.
#pragma once

#include "audio/sound_reader_thread.hpp"
#include "base/config.hpp"
#include "harness/temporary_directory.hpp"
#include "recording/logging_thread.hpp"
#include "recording/rec_mover_thread.hpp"
#include "util/event_loop.hpp"
#include "util/loop_calls.hpp"
#include "util/packet_poll.hpp"
#include "util/unique_fd.hpp"

namespace vocalink::fuzz {

/** What the daemon has around its streams: options, an event loop, the workers. One for the process,
 *  made by the first run.
 *
 *  Replaces some system calls for the whole process, so that a run depends on its input alone and
 *  disturbs nobody: the monotonic clock stands still but for pass_time(), random numbers are the
 *  same in every run, no datagram that the daemon sends leaves it, and it starts no programs. Files
 *  are made in a directory that ends with the process. */
class world {
  public:
    static world& instance();

    /** Begins a run: random numbers begin anew. */
    void begin();

    /** Lets the clock go on by at most a second at a time, and the loop with it. */
    void pass_time(int milliseconds);

    /** Runs the loop once, without waiting. */
    void turn();

    /** Waits until the workers have done what they were asked. */
    void wait_for_workers();

    /** Removes all files. */
    void clear_directory();

    [[nodiscard]] const std::string& directory() const { return files.path(); }

  private:
    world();

    const harness::temporary_directory files;
    const char* arguments[7]{
        "", "-a", files.path().c_str(), "-l", files.path().c_str(), "-S", files.path().c_str()};
    const config options{7, const_cast<char**>(arguments)};
    const ev::default_loop loop;
    util::unique_fd notices; // of recordings, to nobody
    util::loop_calls calls;
    util::packet_poll sockets;
    RecMoverThread mover;
    LoggingThread writer;
    SoundReaderThread reader;
};

} // namespace vocalink::fuzz
