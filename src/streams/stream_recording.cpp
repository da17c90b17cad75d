// SPDX-License-Identifier: GPL-3.0-or-later
// What a stream hands to its recordings.
#include "streams/stream.hpp"

namespace vocalink {

bool stream::has_recording(const std::string& recording_name) const {
    return recordings.contains(recording_name);
}

void stream::add_recording(const std::string& recording_name, std::unique_ptr<recording> started) {
    recordings[recording_name] = std::move(started);
}

void stream::remove_recording(const std::string& recording_name) {
    recordings.erase(recording_name);
}

void stream::release_recording(const std::string& recording_name) {
    if (const auto found = recordings.find(recording_name); found != recordings.end()) {
        found->second->release();
    }
}

void stream::log_packet(pkt_hdr_pcap& headers, const char* packet, int len, RecordingDirs dir,
                        bool is_audio, double waited_s) {
    if (recordings.empty()) {
        return;
    }
    pcap_record_header header;
    bool stamped = false;
    for (const auto& [recording_name, running] : recordings) {
        if (!running->takes(dir, is_audio)) {
            continue;
        }
        if (running->keeps_headers() && !stamped) {
            unsigned seconds = 0;
            unsigned microseconds = 0;
            dtime2ts(util::wall_clock_now() - waited_s, &seconds, &microseconds);
            header = headers.stamp(seconds, microseconds, len);
            stamped = true;
        }
        running->record(header, packet, len);
    }
}

void stream::dtime2ts(double t, unsigned* sec, unsigned* usec) {
    *sec = static_cast<unsigned>(t);
    *usec = static_cast<unsigned>((t - *sec) * 1'000'000);
}

} // namespace vocalink
