// SPDX-License-Identifier: GPL-3.0-or-later
// What producers ask of the recording workers.
#pragma once

#include "recording/pcap.hpp"
#include "recording/recording_file.hpp"

#include <array>
#include <cstring>
#include <memory>
#include <string>

namespace vocalink {

/** A request on its way to a worker. Made by a producer with new; the worker that drains it from
 *  its queue deletes it. The tags of the two workers overlap: a request must go to the one that
 *  understands it. */
class ProcessRequest {
  public:
    explicit ProcessRequest(int tag) : type(tag) {}
    ProcessRequest(const ProcessRequest&) = delete;
    ProcessRequest& operator=(const ProcessRequest&) = delete;
    virtual ~ProcessRequest() = default;

    const int type; // what handle_request() switches on; -1 stops the worker
};

/** Ends a worker after the batch that it stands in. */
class StopRequest : public ProcessRequest {
  public:
    static constexpr int tag = -1;
    StopRequest() : ProcessRequest(tag) {}
};

/** Concerns the open file of one recording, which the file writer owns from OpenFileRequest to
 *  CloseFileRequest. */
class FileRequest : public ProcessRequest {
  public:
    FileRequest(int request_tag, recording_file* concerned)
        : ProcessRequest(request_tag), file(concerned) {}

    recording_file* const file;
};

/** Hands an open file over to the writer. */
class OpenFileRequest : public FileRequest {
  public:
    static constexpr int tag = 0;
    OpenFileRequest(std::unique_ptr<recording_file> opened, std::string owner_name,
                    std::string name, std::string stream_id)
        : FileRequest(tag, opened.get()), owned(std::move(opened)), owner(std::move(owner_name)),
          file_name(std::move(name)), info(std::move(stream_id)) {}

    std::unique_ptr<recording_file> owned;
    const std::string owner;     // connection that gets the notices
    const std::string file_name; // without directory
    const std::string info;      // stream id, for the notices
};

/** Asks for the global header of a pcap file. */
class WriteFileHeaderRequest : public FileRequest {
  public:
    static constexpr int tag = 1;
    explicit WriteFileHeaderRequest(recording_file* concerned) : FileRequest(tag, concerned) {}
};

/** Something to be written, of a known size. */
class DataRequest : public FileRequest {
  public:
    using FileRequest::FileRequest;
    /** Bytes that it adds to the file. */
    [[nodiscard]] virtual long long file_bytes() const = 0;
};

/** Bytes for a file, carried inline: one allocation a packet. */
class WriteFileRequest : public DataRequest {
  public:
    static constexpr int tag = 2;
    static constexpr int max_data_bytes = 1516; // a record header and the largest packet

    /** A pcap record. @param len  bytes of the packet, at most max_data_bytes - 48 */
    WriteFileRequest(const pkt_hdr_pcap& header, const char* packet, int len,
                     recording_file* concerned)
        : DataRequest(tag, concerned), length(len + pcap_record_header_bytes) {
        std::memcpy(data.data(), header.bytes.data(), header.bytes.size());
        std::memcpy(data.data() + header.bytes.size(), packet, static_cast<std::size_t>(len));
    }

    /** Raw audio. @param len  at most max_data_bytes */
    WriteFileRequest(const char* audio, int len, recording_file* concerned)
        : DataRequest(tag, concerned), length(len) {
        std::memcpy(data.data(), audio, static_cast<std::size_t>(len));
    }

    [[nodiscard]] long long file_bytes() const override { return length; }

    const int length; // valid bytes in data
    std::array<char, max_data_bytes> data;
};

/** Frames of silence for a file. One request for all of them: a single packet can ask for more than
 *  a thousand. */
class WriteSilenceRequest : public DataRequest {
  public:
    static constexpr int tag = 4;
    /** @param silence  one frame, constant data that outlives the request */
    WriteSilenceRequest(const unsigned char* silence, int bytes, long long frames,
                        recording_file* concerned)
        : DataRequest(tag, concerned), frame(silence), frame_bytes(bytes), count(frames) {}

    [[nodiscard]] long long file_bytes() const override { return count * frame_bytes; }

    const unsigned char* const frame;
    const int frame_bytes;
    const long long count;
};

/** Ends a file: it is closed, destroyed and moved. */
class CloseFileRequest : public FileRequest {
  public:
    static constexpr int tag = 3;
    explicit CloseFileRequest(recording_file* concerned) : FileRequest(tag, concerned) {}
};

/** Moves a finished file and announces it. For the mover. */
class MoveFileRequest : public ProcessRequest {
  public:
    static constexpr int tag = 0;
    MoveFileRequest(std::string owner_name, std::string from, std::string to, std::string name,
                    std::string stream_id)
        : ProcessRequest(tag), owner(std::move(owner_name)), source(std::move(from)),
          destination(std::move(to)), file_name(std::move(name)), info(std::move(stream_id)) {}

    const std::string owner; // connection that gets the notice
    const std::string source;
    const std::string destination;
    const std::string file_name;
    const std::string info; // stream id
};

/** Announces that a recording has data. For the mover. */
class StartFileRequest : public ProcessRequest {
  public:
    static constexpr int tag = 1;
    StartFileRequest(std::string owner_name, std::string name, std::string stream_id)
        : ProcessRequest(tag), owner(std::move(owner_name)), file_name(std::move(name)),
          info(std::move(stream_id)) {}

    const std::string owner;
    const std::string file_name;
    const std::string info;
};

} // namespace vocalink
