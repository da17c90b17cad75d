// SPDX-License-Identifier: GPL-3.0-or-later
// The worker that writes recording files.
#include "recording/logging_thread.hpp"

#include "recording/rec_mover_thread.hpp"
#include "recording/record_sink.hpp"
#include "util/log_line.hpp"
#include "util/loop_calls.hpp"

#include <algorithm>
#include <cerrno>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

constexpr long long max_waiting_bytes = 128LL * 1024 * 1024;

// A killed daemon leaves files that are complete but for about this long, or longer where there are
// more recordings than a turn takes: their blocks are larger, which makes each record cheaper.
constexpr double turn_period_s = 0.5;
constexpr std::size_t most_in_a_turn = 256; // about half a millisecond of the loop

} // namespace

LoggingThread::LoggingThread() : MsgQueueThread("loggingThread") {
    turn_timer.set<LoggingThread, &LoggingThread::give_turns>(this);
}

void LoggingThread::stop() {
    turn_timer.stop();
    MsgQueueThread::stop();
}

bool LoggingThread::is_behind() const {
    return waiting_bytes.load(std::memory_order_relaxed) >= max_waiting_bytes;
}

writer_figures LoggingThread::figures() const {
    return {running, ended, waiting_bytes, refused, failed_to_write};
}

void LoggingThread::queue_open(OpenFileRequest* request) {
    running += 1;
    queue(request);
}

void LoggingThread::queue_close(CloseFileRequest* request) {
    running -= 1;
    ended += 1;
    queue(request);
}

void LoggingThread::queue_block(WriteBlockRequest* request) {
    waiting_bytes += static_cast<long long>(request->block.memory_bytes());
    queue(request);
}

void LoggingThread::give_turn(record_sink& sink) {
    gathering.insert(&sink);
    if (!turn_timer.is_active()) {
        turn_timer.start(turn_period_s);
    }
}

void LoggingThread::give_turns(ev::timer&, int) {
    for (auto left = std::min(gathering.size(), most_in_a_turn); left > 0; --left) {
        auto next = gathering.upper_bound(latest);
        next = next == gathering.end() ? gathering.begin() : next;
        latest = *next;
        gathering.erase(next);
        latest->take_turn(); // one that must wait longer enters itself again
    }
    if (!gathering.empty()) {
        turn_timer.start(turn_period_s);
    }
}

void LoggingThread::handle_request(ProcessRequest* request) {
    switch (request->type) {
    case OpenFileRequest::tag:
        process_open(static_cast<OpenFileRequest&>(*request));
        break;
    case WriteBlockRequest::tag:
        process_write(static_cast<WriteBlockRequest&>(*request));
        break;
    case CloseFileRequest::tag:
        process_close(static_cast<CloseFileRequest&>(*request));
        break;
    default:
        log_line() << "Unknown request type " << request->type;
    }
}

void LoggingThread::process_open(OpenFileRequest& request) {
    recording_file& file = *request.file;
    const int error = file.open();
    if (error != 0) {
        log_line("recording", file.name)
            << "could not create log file " << file.work_path() << " : " << error_text(error);
    } else if (!file.write_header()) {
        log_line("recording", file.file_name)
            << "log_packet: write packet header failed: " << error_text(errno);
    }
    util::loop_calls::instance().post(
        [opened = std::move(request.opened), error] { opened(error); });
}

void LoggingThread::process_write(const WriteBlockRequest& request) {
    recording_file& file = *request.file;
    waiting_bytes -= static_cast<long long>(request.block.memory_bytes());
    file.waiting_bytes -= request.block.file_bytes();
    if (!file.is_open()) {
        return;
    }
    announce(file);
    const long long lost_before = file.lost_records();
    if (!file.write(request.block, buffer)) {
        report_write_error(file);
    }
    failed_to_write += file.lost_records() - lost_before;
}

/** Tells the controller of the first data. */
void LoggingThread::announce(recording_file& file) {
    if (!file.announced) {
        file.announced = true;
        RecMoverThread::instance().queue(
            new StartFileRequest(file.owner, file.file_name, file.stream_id));
    }
}

void LoggingThread::report_write_error(const recording_file& file) {
    if (!write_error_reported) {
        write_error_reported = true;
        log_line("recording", file.file_name)
            << "log_packet: write packet failed: " << error_text(errno);
    }
}

void LoggingThread::process_close(const CloseFileRequest& request) {
    recording_file& file = *request.file;
    ended -= 1;
    if (!file.is_open()) {
        return;
    }
    file.close();
    if (file.lost_records() > 0) {
        log_line("recording", file.file_name)
            << file.lost_records() << " records lost to a failed write";
    }
    log_line("recording", file.file_name) << "submitting move request " << file.file_name;
    RecMoverThread::instance().queue_move(new MoveFileRequest(file.owner, file.work_path(),
                                                              file.store_path(), file.file_name,
                                                              file.stream_id, file.size_bytes()));
}

} // namespace vocalink
