// SPDX-License-Identifier: GPL-3.0-or-later
// The worker that writes recording files.
#include "recording/logging_thread.hpp"

#include "base/config.hpp"
#include "recording/pcap.hpp"
#include "recording/rec_mover_thread.hpp"
#include "util/log_line.hpp"

#include <cassert>
#include <cerrno>
#include <span>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

constexpr long long max_waiting_bytes = 128LL * 1024 * 1024;
constexpr long long max_waiting_bytes_per_file = 16LL * 1024 * 1024;
constexpr int max_waiting_fillings = 50;

// A killed daemon leaves files that are complete but for about this long.
constexpr std::chrono::milliseconds flush_period{500};

LoggingThread* newest = nullptr;

} // namespace

LoggingThread::LoggingThread() : MsgQueueThread("loggingThread") {
    newest = this;
}

LoggingThread& LoggingThread::instance() {
    assert(newest != nullptr);
    return *newest;
}

bool LoggingThread::queue_data(std::unique_ptr<DataRequest> request) {
    recording_file& file = *request->file;
    const bool filling = request->type == WriteSilenceRequest::tag;
    if (waiting_bytes >= max_waiting_bytes || file.waiting_bytes >= max_waiting_bytes_per_file ||
        (filling && file.waiting_fillings >= max_waiting_fillings)) {
        return false;
    }
    waiting_bytes += request->memory_bytes();
    file.waiting_bytes += request->memory_bytes();
    file.waiting_fillings += filling ? 1 : 0;
    queue(request.release());
    return true;
}

void LoggingThread::handle_request(ProcessRequest* request) {
    switch (request->type) {
    case OpenFileRequest::tag:
        process_openfile(static_cast<OpenFileRequest&>(*request));
        break;
    case WriteFileHeaderRequest::tag:
        process_writeheader(static_cast<WriteFileHeaderRequest&>(*request));
        break;
    case WriteFileRequest::tag:
        process_write(static_cast<WriteFileRequest&>(*request));
        break;
    case WriteSilenceRequest::tag:
        process_silence(static_cast<WriteSilenceRequest&>(*request));
        break;
    case CloseFileRequest::tag:
        process_close(static_cast<CloseFileRequest&>(*request));
        break;
    default:
        log_line() << "Unknown request type " << request->type;
    }
}

void LoggingThread::handle_batch_end() {
    if (std::chrono::steady_clock::now() - last_flush >= flush_period) {
        flush_files();
    }
}

void LoggingThread::handle_idle() {
    flush_files();
}

/** Brings the files up to date, so that what a killed daemon leaves is readable. */
void LoggingThread::flush_files() {
    last_flush = std::chrono::steady_clock::now();
    for (auto& [file, opened] : files) {
        if (!opened.file->flush()) {
            report_write_error(opened);
        }
    }
}

LoggingThread::open_file& LoggingThread::file_of(const FileRequest& request) {
    const auto found = files.find(request.file);
    assert(found != files.end()); // a recording hands its file over before anything else
    return found->second;
}

void LoggingThread::process_openfile(OpenFileRequest& request) {
    files.emplace(request.file, open_file{std::move(request.owned), request.owner,
                                          request.file_name, request.info, false});
}

void LoggingThread::process_writeheader(const WriteFileHeaderRequest& request) {
    open_file& opened = file_of(request);
    const auto& header = pcap_global_header();
    // At once, so that a full disk shows here and a killed recording is a pcap file from its start.
    if (!opened.file->write(header) || !opened.file->flush()) {
        log_line("recording", opened.file_name)
            << "log_packet: write packet header failed: " << error_text(errno);
    }
}

void LoggingThread::process_write(const WriteFileRequest& request) {
    open_file& opened = announced(request);
    if (!opened.file->write(request.data())) {
        report_write_error(opened);
    }
}

void LoggingThread::process_silence(const WriteSilenceRequest& request) {
    open_file& opened = announced(request);
    request.file->waiting_fillings -= 1;
    const std::span frame(reinterpret_cast<const char*>(request.frame),
                          static_cast<std::size_t>(request.frame_bytes));
    for (long long i = 0; i < request.count && !opened.file->failed(); ++i) {
        if (!opened.file->write(frame)) {
            report_write_error(opened);
        }
    }
}

/** The file that data is for; the first data of each is announced. */
LoggingThread::open_file& LoggingThread::announced(const DataRequest& request) {
    waiting_bytes -= request.memory_bytes();
    request.file->waiting_bytes -= request.memory_bytes();
    open_file& opened = file_of(request);
    if (!opened.started) {
        opened.started = true;
        RecMoverThread::instance().queue(
            new StartFileRequest(opened.owner, opened.file_name, opened.info));
    }
    return opened;
}

void LoggingThread::report_write_error(const open_file& opened) {
    if (!write_error_reported) {
        write_error_reported = true;
        log_line("recording", opened.file_name)
            << "log_packet: write packet failed: " << error_text(errno);
    }
}

void LoggingThread::process_close(const CloseFileRequest& request) {
    open_file closing = std::move(file_of(request));
    files.erase(request.file);
    if (!closing.file->flush()) {
        report_write_error(closing);
    }
    if (closing.file->lost_records() > 0) {
        log_line("recording", closing.file_name)
            << closing.file->lost_records() << " records lost to a failed write";
    }
    closing.file.reset();
    const config& options = config::instance();
    const std::string& file_name = closing.file_name;
    log_line("recording", file_name) << "submitting move request " << file_name;
    RecMoverThread::instance().queue(new MoveFileRequest(
        closing.owner, std::string(options.work_dir) + "/" + file_name,
        std::string(options.store_dir) + "/" + file_name, file_name, closing.info));
}

} // namespace vocalink
