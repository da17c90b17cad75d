// SPDX-License-Identifier: GPL-3.0-or-later
// The recording of one stream into one file.
#pragma once

#include "recording/pcap.hpp"
#include "recording/recording_file.hpp"
#include "rtp/rtp_payload.hpp"
#include "rtp/rtp_view.hpp"
#include "util/repeat_guard.hpp"

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>

namespace vocalink {

class DataRequest;

enum RecordingType : int {
    pcap = 0,     // packets of both directions
    ulaw_in = 1,  // payloads received, ".ulaw"
    ulaw_out = 2, // payloads sent
    g729_in = 3,  // payloads received, ".g729"
    g729_out = 4, // payloads sent
};

/** Direction of a packet, as its stream sees it. */
enum RecordingDirs : int {
    dir_in = 0,
    dir_out = 1,
};

/** Turns the packets of a stream into pcap records, or into raw payloads that keep real time by
 *  frames of silence where packets are missing. It opens its file and leaves everything else to the
 *  file writer; destroying it finishes the file. Owned by its stream; loop thread only. */
class recording {
  public:
    /** @param owner  name of the connection that gets the notices
     *  @param name  recording name, the first part of the file name
     *  @param stream_id  for the notices */
    recording(std::string owner, std::string name, std::string stream_id, RecordingType type);
    recording(const recording&) = delete;
    recording& operator=(const recording&) = delete;
    virtual ~recording();

    /** Whether the file could be opened; a recording without is of no use. */
    [[nodiscard]] bool is_open() const { return file != nullptr; }
    /** Where the file will be in the end. */
    [[nodiscard]] const std::string& get_path() const { return path; }
    /** Whether it keeps packets with their headers. */
    [[nodiscard]] bool keeps_headers() const { return type == pcap; }
    /** Whether a packet of that direction is for this recording. */
    [[nodiscard]] bool takes(RecordingDirs dir, bool is_audio) const;

    /** Records one packet.
     *  @param header  stamped for this packet where headers are kept
     *  @param packet  len bytes, RTP header included */
    void record(const pkt_hdr_pcap& header, const char* packet, int len);

  private:
    [[nodiscard]] bool is_plain_name() const;
    void queue_data(std::unique_ptr<DataRequest> request);

    // Raw recordings in real time: recording_silence.cpp
    void detect_silence(const rtp_view& packet);
    void start_source(rtp_payload payload, std::uint32_t packet_ssrc, std::uint32_t ts);
    void fill_gap(rtp_payload payload, std::uint32_t ts, unsigned payload_bytes);
    void fill_frames(rtp_payload payload, unsigned missing);
    [[nodiscard]] bool admit_line(util::repeat_guard& kind, const char* what);
    void write_silence(rtp_payload payload, long long count);

    const std::string name;
    std::string path;
    const RecordingType type;
    recording_file* file = nullptr; // the file writer's, from opening to closing
    std::uint32_t last_ts = 0;      // of the last packet accepted
    std::uint32_t ssrc = 0;         // of the current source, as in the packet; 0 before the first
    std::timespec last_time{};      // real time at which the next packet is due
    // Log lines that a peer can cause at will.
    util::repeat_guard source_lines{20};
    util::repeat_guard sequence_lines{20};
    util::repeat_guard truncation_lines{20};
    util::repeat_guard silence_lines{20};
    long long dropped = 0; // packets and fillings refused by the writer
};

} // namespace vocalink
