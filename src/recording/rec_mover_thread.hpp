// SPDX-License-Identifier: GPL-3.0-or-later
// The worker that moves finished recordings and announces them.
#pragma once

#include "recording/process_request.hpp"
#include "util/msg_queue_thread.hpp"
#include "util/newest_instance.hpp"

#include <atomic>
#include <string>

namespace vocalink {

/** What the mover has to do, and what it could not. The total never goes back. */
struct mover_figures {
    int waiting_files = 0;
    long long waiting_bytes = 0; // in those files
    long long failed = 0;        // moves in all
};

/** Moves files, so that a slow move across file systems holds up neither the writer nor the loop, and
 *  sends the notices of recordings down a pipe: a line each, "OWNER REC_STARTED
 *  FILE STREAM" or "OWNER REC_FINISHED FILE STREAM". Singleton, owned by main. */
class RecMoverThread : public util::MsgQueueThread, public util::newest_instance<RecMoverThread> {
  public:
    RecMoverThread();

    /** The write end of the notice pipe, which stays its owner's. Before start(). */
    void set_out_fd(int fd) { out_fd = fd; }

    /** Hands over a finished file. Any thread. */
    void queue_move(MoveFileRequest* request);

    /** Any thread. */
    [[nodiscard]] mover_figures figures() const;

    /** Nobody reads notices any more: those to come are dropped without a word. Any thread. */
    void discard_notices() { discarding = true; }

  protected:
    void handle_request(ProcessRequest* request) override;

  private:
    void process_start(const StartFileRequest& request);
    void process_move(const MoveFileRequest& request);
    void send_start_notification(const std::string& owner, const std::string& info,
                                 const std::string& file_name);
    void send_stop_notification(const std::string& owner, const std::string& info,
                                const std::string& file_name);
    void send_notification(const char* kind, const std::string& owner, const std::string& info,
                           const std::string& file_name);

    int out_fd = -1;
    std::atomic<bool> discarding = false;
    std::atomic<int> waiting_files = 0;
    std::atomic<long long> waiting_bytes = 0;
    std::atomic<long long> failed_moves = 0;
};

} // namespace vocalink
