// SPDX-License-Identifier: GPL-3.0-or-later
// The recording of one stream into one file.
#pragma once

#include "recording/pcap.hpp"
#include "recording/record_sink.hpp"
#include "recording/recording_format.hpp"
#include "rtp/rtp_payload.hpp"
#include "rtp/rtp_view.hpp"
#include "util/repeat_guard.hpp"

#include <cstdint>
#include <ctime>
#include <span>
#include <string>

namespace vocalink {

/** Turns the packets of a stream into pcap records, or into raw payloads that keep real time by
 *  frames of silence where packets are missing. Owned by its stream; destroying it finishes the
 *  file. Loop thread only. */
class recording {
  public:
    /** A clock that never steps. */
    using clock = std::timespec();

    /** Begins to record, and has the file opened meanwhile. Nothing is written before release().
     *  @param owner  name of the connection that gets the notices
     *  @param name  recording name, the first part of the file name
     *  @param stream_id  for the notices
     *  @param opened  told how the opening went; after an error nothing can be recorded */
    recording(std::string owner, std::string name, std::string stream_id, RecordingType type,
              record_sink::opened_handler opened, clock* now = monotonic_time);
    recording(const recording&) = delete;
    recording& operator=(const recording&) = delete;
    virtual ~recording();

    /** Where the file will be in the end. */
    [[nodiscard]] std::string get_path() const { return sink.store_path(); }
    /** The controller is about to be told of the file: from now on it may hear of its data. */
    void release() { sink.release(); }
    /** Whether it keeps packets with their headers. */
    [[nodiscard]] bool keeps_headers() const { return !format.payloads_of.has_value(); }
    /** Whether a packet of that direction is for this recording. */
    [[nodiscard]] bool takes(RecordingDirs dir, bool is_audio) const {
        return keeps_headers() || (is_audio && dir == format.payloads_of);
    }

    /** Records one packet.
     *  @param header  of this packet where headers are kept
     *  @param packet  len bytes, RTP header included */
    void record(const pcap_record_header& header, const char* packet, int len);

  private:
    [[nodiscard]] static std::timespec monotonic_time();
    void record_payload(rtp_payload payload, std::span<const char> bytes);
    void count_dropped();

    // Raw recordings in real time: recording_silence.cpp
    void detect_silence(const rtp_view& packet);
    void start_source(rtp_payload payload, std::uint32_t packet_ssrc, std::uint32_t ts);
    void fill_gap(rtp_payload payload, std::uint32_t ts, unsigned payload_bytes);
    unsigned limit_filling(std::int64_t missing_frames);
    void write_silence(rtp_payload payload, unsigned count);
    [[nodiscard]] bool append_silence(rtp_payload payload, std::int64_t count);
    [[nodiscard]] bool admit_line(util::repeat_guard& kind, const char* what);

    const std::string name;
    const recording_format& format;
    record_sink sink;
    clock* const now;
    std::uint32_t last_ts = 0; // of the last packet accepted
    std::uint32_t ssrc = 0;    // of the current source, as in the packet; 0 before the first
    std::timespec last_time{}; // when the next packet is due
    // Log lines that a peer can cause at will.
    util::repeat_guard source_lines{20};
    util::repeat_guard sequence_lines{20};
    util::repeat_guard truncation_lines{20};
    util::repeat_guard silence_lines{20};
    std::int64_t dropped = 0;    // packets or fillings refused by the writer
    std::int64_t owed_bytes = 0; // of payloads refused, less than a frame of silence
};

} // namespace vocalink
