// SPDX-License-Identifier: GPL-3.0-or-later
// What producers ask of the recording workers.
#pragma once

#include "recording/recording_file.hpp"
#include "util/process_request.hpp"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <span>
#include <string>

namespace vocalink {

using util::ProcessRequest;

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

/** Something to be written, which counts towards what may wait for the writer. */
class DataRequest : public FileRequest {
  public:
    using FileRequest::FileRequest;
    /** Bytes of memory that it holds while it waits. */
    [[nodiscard]] virtual long long memory_bytes() const = 0;
};

/** Bytes for a file, carried inline: one allocation a packet, of the size that it needs. */
class WriteFileRequest : public DataRequest {
  public:
    static constexpr int tag = 2;

    /** A request for prefix and body, one behind the other. */
    [[nodiscard]] static WriteFileRequest*
    make(std::span<const char> prefix, std::span<const char> body, recording_file* concerned) {
        return new (prefix.size() + body.size()) WriteFileRequest(prefix, body, concerned);
    }

    [[nodiscard]] std::span<const char> data() const {
        return {reinterpret_cast<const char*>(this + 1), length};
    }
    [[nodiscard]] long long memory_bytes() const override {
        return static_cast<long long>(sizeof *this) + static_cast<long long>(length);
    }

    static void operator delete(void* request) { ::operator delete(request); }
    static void operator delete(void* request, std::size_t) { ::operator delete(request); }

  private:
    WriteFileRequest(std::span<const char> prefix, std::span<const char> body,
                     recording_file* concerned)
        : DataRequest(tag, concerned), length(prefix.size() + body.size()) {
        char* const data_bytes = reinterpret_cast<char*>(this + 1);
        std::copy(prefix.begin(), prefix.end(), data_bytes);
        std::copy(body.begin(), body.end(), data_bytes + prefix.size());
    }

    static void* operator new(std::size_t own_bytes, std::size_t data_bytes) {
        return ::operator new(own_bytes + data_bytes);
    }

    const std::size_t length; // bytes of data behind the object
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

    [[nodiscard]] long long memory_bytes() const override { return sizeof *this; }

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
