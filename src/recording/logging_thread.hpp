// SPDX-License-Identifier: GPL-3.0-or-later
// The worker that writes recording files.
#pragma once

#include "recording/process_request.hpp"
#include "recording/recording_file.hpp"
#include "util/event_loop.hpp"
#include "util/msg_queue_thread.hpp"

#include <atomic>
#include <set>

namespace vocalink {

class record_sink;

/** Does every file operation of every recording, in the order asked, announces the first data of
 *  each, and hands finished files to the mover. Twice a second it has the sinks hand over what they
 *  have gathered. Singleton, owned by main. */
class LoggingThread : public util::MsgQueueThread {
  public:
    LoggingThread();

    /** The instance made last. */
    [[nodiscard]] static LoggingThread& instance();

    void stop() override;

    // For the sinks; loop thread.

    /** Whether so much waits that no more may: memory must not grow with a disk that is stuck. */
    [[nodiscard]] bool is_behind() const;
    /** Queues records, whatever waits. */
    void queue_block(WriteBlockRequest* request);
    /** Has the sink hand over its block within half a second. */
    void give_turn(record_sink& sink);
    /** The sink ends. */
    void forget(record_sink& sink) { gathering.erase(&sink); }

  protected:
    void handle_request(ProcessRequest* request) override;

  private:
    void give_turns(ev::timer& timer, int events);

    void process_open(OpenFileRequest& request);
    void process_write(const WriteBlockRequest& request);
    void process_close(const CloseFileRequest& request);
    static void announce(recording_file& file);
    void report_write_error(const recording_file& file);

    write_buffer buffer;                      // the worker's alone
    bool write_error_reported = false;        // one line for the whole process
    std::atomic<long long> waiting_bytes = 0; // of memory, in blocks

    std::set<record_sink*> gathering; // the loop's: sinks with a block to hand over
    ev::timer turn_timer;             // runs while there are any
};

} // namespace vocalink
