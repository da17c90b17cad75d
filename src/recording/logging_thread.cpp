// SPDX-License-Identifier: GPL-3.0-or-later
// The worker that writes recording files.
#include "recording/logging_thread.hpp"

#include "recording/rec_mover_thread.hpp"
#include "util/config.hpp"
#include "util/log_line.hpp"

#include <cassert>
#include <cerrno>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

constexpr long long max_waiting_bytes = 64LL * 1024 * 1024;

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
    if (waiting_bytes >= max_waiting_bytes) {
        return false;
    }
    waiting_bytes += request->file_bytes();
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

/** With nothing else to do, brings the files up to date: what a killed daemon leaves is readable.
 */
void LoggingThread::handle_idle() {
    for (auto& [file, opened] : files) {
        if (opened.file->has_buffered() && !opened.file->flush()) {
            report_write_error(opened);
        }
    }
}

void LoggingThread::process_openfile(OpenFileRequest& request) {
    files.emplace(request.file, open_file{std::move(request.owned), request.owner,
                                          request.file_name, request.info, false});
}

void LoggingThread::process_writeheader(const WriteFileHeaderRequest& request) {
    open_file& opened = files.at(request.file);
    const auto& header = pcap_global_header();
    if (!opened.file->write(header.data(), header.size())) {
        log_line("recording", opened.file_name)
            << "log_packet: write packet header failed: " << error_text(errno);
    }
}

void LoggingThread::process_write(const WriteFileRequest& request) {
    open_file& opened = announced(request);
    if (!opened.file->write(request.data.data(), static_cast<std::size_t>(request.length))) {
        report_write_error(opened);
    }
}

void LoggingThread::process_silence(const WriteSilenceRequest& request) {
    open_file& opened = announced(request);
    for (long long i = 0; i < request.count && !opened.file->failed(); ++i) {
        if (!opened.file->write(reinterpret_cast<const char*>(request.frame),
                                static_cast<std::size_t>(request.frame_bytes))) {
            report_write_error(opened);
        }
    }
}

/** The file that data is for; the first data of each is announced. */
LoggingThread::open_file& LoggingThread::announced(const DataRequest& request) {
    waiting_bytes -= request.file_bytes();
    open_file& opened = files.at(request.file);
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
    const auto node = files.extract(request.file);
    open_file& closing = node.mapped();
    if (!closing.file->flush()) {
        report_write_error(closing);
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
