// SPDX-License-Identifier: GPL-3.0-or-later
// The worker that writes recording files.
#pragma once

#include "recording/process_request.hpp"
#include "recording/recording_file.hpp"
#include "util/event_loop.hpp"
#include "util/msg_queue_thread.hpp"
#include "util/newest_instance.hpp"

#include <atomic>
#include <set>

namespace vocalink {

class record_sink;

/** What the file writer has to do, and what it could not. The totals never go back. */
struct writer_figures {
    int running = 0;               // recordings
    int ended = 0;                 // recordings that the writer has not closed yet
    long long waiting_bytes = 0;   // of memory
    long long refused = 0;         // records in all, because the writer was behind
    long long failed_to_write = 0; // records in all
};

/** Does every file operation of every recording, in the order asked, announces the first data of
 *  each, and hands finished files to the mover. Twice a second it has sinks hand over what they have
 *  gathered. Singleton, owned by main. */
class LoggingThread : public util::MsgQueueThread, public util::newest_instance<LoggingThread> {
  public:
    LoggingThread();

    void stop() override;

    /** Loop thread. */
    [[nodiscard]] writer_figures figures() const;

    // For the sinks; loop thread.

    void queue_open(OpenFileRequest* request);
    void queue_close(CloseFileRequest* request);
    /** A record was refused because the writer is behind. */
    void count_refused() { refused += 1; }

    /** Whether so much waits that no more may: memory must not grow with a disk that is stuck. */
    [[nodiscard]] bool is_behind() const;
    /** Queues records, whatever waits. */
    void queue_block(WriteBlockRequest* request);
    /** Has the sink hand over its block within half a second, or one for each 256 sinks. */
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

    std::vector<char> buffer;                   // the worker's alone
    bool write_error_reported = false;          // one line for the whole process
    std::atomic<long long> waiting_bytes = 0;   // of memory, in blocks
    std::atomic<long long> failed_to_write = 0; // records
    std::atomic<int> ended = 0;                 // recordings whose close is queued

    int running = 0;       // the loop's: recordings
    long long refused = 0; // the loop's: records

    std::set<record_sink*> gathering; // the loop's: sinks with a block to hand over
    record_sink* latest = nullptr;    // that had a turn; may have ended
    ev::timer turn_timer;             // runs while there are any
};

} // namespace vocalink
