// SPDX-License-Identifier: GPL-3.0-or-later
// The worker that moves finished recordings and announces them.
#include "recording/rec_mover_thread.hpp"

#include "recording/move_file.hpp"
#include "util/log_line.hpp"
#include "util/retry.hpp"

#include <cerrno>

#include <unistd.h>

namespace vocalink {

using util::error_text;
using util::log_line;

RecMoverThread::RecMoverThread() : MsgQueueThread("recMoverThread") {}

void RecMoverThread::queue_move(MoveFileRequest* request) {
    waiting_files += 1;
    waiting_bytes += request->bytes;
    queue(request);
}

mover_figures RecMoverThread::figures() const {
    return {waiting_files, waiting_bytes, failed_moves};
}

void RecMoverThread::handle_request(ProcessRequest* request) {
    switch (request->type) {
    case MoveFileRequest::tag:
        process_move(static_cast<MoveFileRequest&>(*request));
        break;
    case StartFileRequest::tag:
        process_start(static_cast<StartFileRequest&>(*request));
        break;
    default:
        log_line() << "Unknown request type " << request->type;
    }
}

void RecMoverThread::process_start(const StartFileRequest& request) {
    send_start_notification(request.owner, request.info, request.file_name);
}

void RecMoverThread::process_move(const MoveFileRequest& request) {
    if (const int error = move_file(request.source, request.destination); error != 0) {
        log_line() << "-- recMoverThread: mv command failed for stream " << request.info
                   << " recording " << request.file_name << " error: " << error_text(error);
    }
    if (::access(request.source.c_str(), F_OK) == 0) { // mv may have failed as well
        failed_moves += 1;
    }
    waiting_files -= 1;
    waiting_bytes -= request.bytes;
    // Deliberate: docs/behaviours.md#finished-without-a-move
    send_stop_notification(request.owner, request.info, request.file_name);
}

void RecMoverThread::send_start_notification(const std::string& owner, const std::string& info,
                                             const std::string& file_name) {
    send_notification("REC_STARTED", owner, info, file_name);
}

void RecMoverThread::send_stop_notification(const std::string& owner, const std::string& info,
                                            const std::string& file_name) {
    send_notification("REC_FINISHED", owner, info, file_name);
}

void RecMoverThread::send_notification(const char* kind, const std::string& owner,
                                       const std::string& info, const std::string& file_name) {
    const std::string line = owner + " " + kind + " " + file_name + " " + info + "\n";
    const ssize_t written =
        util::retry_on_signal([&] { return ::write(out_fd, line.data(), line.size()); });
    if (written < 0 && !discarding) {
        log_line() << "-- recMoverThread: error outputting " << kind
                   << " message! Error: " << error_text(errno);
    }
}

} // namespace vocalink
