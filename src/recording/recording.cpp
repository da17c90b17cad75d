// SPDX-License-Identifier: GPL-3.0-or-later
// The recording of one stream into one file.
#include "recording/recording.hpp"

#include "base/config.hpp"
#include "recording/logging_thread.hpp"
#include "util/log_line.hpp"
#include "util/unique_id.hpp"

#include <cerrno>
#include <span>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

const char* extension_of(RecordingType type) {
    switch (type) {
    case pcap:
        return ".pcap";
    case ulaw_in:
    case ulaw_out:
        return ".ulaw";
    case g729_in:
    case g729_out:
        return ".g729";
    }
    return "";
}

} // namespace

recording::recording(std::string owner, std::string recording_name, std::string stream_id,
                     RecordingType recording_type)
    : name(std::move(recording_name)), type(recording_type) {
    const config& options = config::instance();
    const std::string file_name = name + "_" + util::uniqueid() + extension_of(type);
    const std::string work_path = std::string(options.work_dir) + "/" + file_name;
    path = std::string(options.store_dir) + "/" + file_name;

    std::unique_ptr<recording_file> opened;
    if (is_plain_name()) {
        opened = std::make_unique<recording_file>(work_path);
    } else {
        errno = ENOENT; // a name that leads to another directory leads nowhere
    }
    if (!opened || !opened->is_open()) {
        log_line("recording", name)
            << "could not create log file " << work_path << " : " << error_text(errno);
        return;
    }
    file = opened.get();
    LoggingThread& writer = LoggingThread::instance();
    writer.queue(
        new OpenFileRequest(std::move(opened), std::move(owner), file_name, std::move(stream_id)));
    if (type == pcap) {
        writer.queue(new WriteFileHeaderRequest(file));
    }
}

recording::~recording() {
    const long long suppressed = source_lines.suppressed() + sequence_lines.suppressed() +
                                 truncation_lines.suppressed() + silence_lines.suppressed();
    if (suppressed > 0) {
        log_line("recording", name) << "suppressed log lines: " << suppressed;
    }
    if (dropped > 0) {
        log_line("recording", name) << dropped << " packets or fillings dropped";
    }
    if (file != nullptr) {
        LoggingThread::instance().queue(new CloseFileRequest(file));
    }
}

bool recording::is_plain_name() const {
    return name.find('/') == std::string::npos;
}

bool recording::takes(RecordingDirs dir, bool is_audio) const {
    switch (type) {
    case pcap:
        return true;
    case ulaw_in:
    case g729_in:
        return is_audio && dir == dir_in;
    case ulaw_out:
    case g729_out:
        return is_audio && dir == dir_out;
    }
    return false;
}

void recording::record(const pkt_hdr_pcap& header, const char* packet, int len) {
    if (keeps_headers()) {
        queue_data(std::unique_ptr<DataRequest>(WriteFileRequest::make(
            header.bytes, std::span(packet, static_cast<std::size_t>(len)), file)));
        return;
    }
    const rtp_view view = measure_rtp(packet, len);
    if (!view.payload.empty()) {
        detect_silence(view);
        const std::span payload(packet + view.header_bytes, view.payload.size());
        queue_data(std::unique_ptr<DataRequest>(WriteFileRequest::make({}, payload, file)));
    }
}

void recording::queue_data(std::unique_ptr<DataRequest> request) {
    if (!LoggingThread::instance().queue_data(std::move(request)) && dropped++ == 0) {
        log_line("recording", name) << "the file writer is behind, dropping packets";
    }
}

} // namespace vocalink
