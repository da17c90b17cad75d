// SPDX-License-Identifier: GPL-3.0-or-later
// What producers ask of the recording workers.
#pragma once

#include "recording/record_block.hpp"
#include "recording/recording_file.hpp"
#include "util/process_request.hpp"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace vocalink {

using util::ProcessRequest;

/** Concerns one recording. */
class FileRequest : public ProcessRequest {
  public:
    FileRequest(int request_tag, std::shared_ptr<recording_file> concerned)
        : ProcessRequest(request_tag), file(std::move(concerned)) {}

    const std::shared_ptr<recording_file> file;
};

/** Opens the file, and has the loop told of it. */
class OpenFileRequest : public FileRequest {
  public:
    static constexpr int tag = 0;
    OpenFileRequest(std::shared_ptr<recording_file> concerned, std::function<void(int error)> call)
        : FileRequest(tag, std::move(concerned)), opened(std::move(call)) {}

    std::function<void(int error)> opened; // for the loop
};

/** Writes records. */
class WriteBlockRequest : public FileRequest {
  public:
    static constexpr int tag = 2;
    WriteBlockRequest(std::shared_ptr<recording_file> concerned, record_block records)
        : FileRequest(tag, std::move(concerned)), block(std::move(records)) {}

    const record_block block;
};

/** Ends a file: it is closed and moved. */
class CloseFileRequest : public FileRequest {
  public:
    static constexpr int tag = 3;
    explicit CloseFileRequest(std::shared_ptr<recording_file> concerned)
        : FileRequest(tag, std::move(concerned)) {}
};

/** Moves a finished file and announces it. For the mover. */
class MoveFileRequest : public ProcessRequest {
  public:
    static constexpr int tag = 0;
    MoveFileRequest(std::string owner_name, std::string from, std::string to, std::string name,
                    std::string stream_id, long long size_bytes)
        : ProcessRequest(tag), owner(std::move(owner_name)), source(std::move(from)),
          destination(std::move(to)), file_name(std::move(name)), info(std::move(stream_id)),
          bytes(size_bytes) {}

    const std::string owner; // connection that gets the notice
    const std::string source;
    const std::string destination;
    const std::string file_name;
    const std::string info; // stream id
    const long long bytes;  // in the file
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
