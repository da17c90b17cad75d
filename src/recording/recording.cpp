// SPDX-License-Identifier: GPL-3.0-or-later
// The recording of one stream into one file.
#include "recording/recording.hpp"

#include "audio/codec.hpp"
#include "util/log_line.hpp"

#include <memory>
#include <utility>

namespace vocalink {

using util::log_line;

recording::recording(std::string owner, std::string recording_name, std::string stream_id,
                     RecordingType type, record_sink::opened_handler opened, clock* time)
    : name(recording_name), format(format_of(type)),
      sink(std::make_unique<recording_file>(std::move(owner), std::move(recording_name),
                                            std::move(stream_id), format.file),
           std::move(opened)),
      now(time) {
    sink.hold();
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
}

void recording::record(const pcap_record_header& header, const char* packet, int len) {
    if (keeps_headers()) {
        if (!sink.append(header, std::span(packet, static_cast<std::size_t>(len)))) {
            count_dropped();
        }
        return;
    }
    const rtp_view view = measure_rtp(packet, len);
    if (!view.payload.empty()) {
        detect_silence(view);
        record_payload(static_cast<rtp_payload>(view.payload_type),
                       std::span(packet + view.header_bytes, view.payload.size()));
    }
}

/** A payload that is refused becomes silence of its length, so that the file keeps real time. */
void recording::record_payload(rtp_payload payload, std::span<const char> bytes) {
    if (sink.append({}, bytes)) {
        return;
    }
    count_dropped();
    owed_bytes += static_cast<std::int64_t>(bytes.size());
    const int frame_bytes = payload_frame_size(payload);
    if (append_silence(payload, owed_bytes / frame_bytes)) {
        owed_bytes %= frame_bytes;
    }
}

void recording::count_dropped() {
    if (dropped++ == 0) {
        log_line("recording", name) << "the file writer is behind, dropping packets";
    }
}

} // namespace vocalink
