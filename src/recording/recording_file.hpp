// SPDX-License-Identifier: GPL-3.0-or-later
// An open recording: its names, its notices and its file.
#pragma once

#include "recording/record_block.hpp"
#include "recording/recording_format.hpp"
#include "util/unique_fd.hpp"

#include <atomic>
#include <span>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vocalink {

/** A file that is only ever extended, by whole records. Once a write has failed it is cut back to its
 *  last whole record and nothing more is written, so that what is there stays readable.
 *
 *  Shared by the loop's record_sink and the file writer. The loop makes it and uses nothing but the
 *  constants and waiting_bytes; the writer opens, writes and ends it. */
class recording_file {
  public:
    /** @param owner  name of the connection that gets the notices
     *  @param name  of the recording, the first part of the file name
     *  @param stream_id  for the notices */
    recording_file(std::string owner, std::string name, std::string stream_id,
                   const file_format& format);

    const std::string owner;
    const std::string name;
    const std::string stream_id;
    const std::string file_name; // without directory

    /** Where the file is written, and where it is moved in the end. */
    [[nodiscard]] std::string work_path() const;
    [[nodiscard]] std::string store_path() const;

    /** Bytes of the file that wait for the writer. */
    std::atomic<long long> waiting_bytes = 0;

    // The writer's alone from here on.

    /** Opens or creates the file in the work directory. A name that leads to another directory leads
     *  nowhere. @return 0 or the error number */
    [[nodiscard]] int open();
    [[nodiscard]] bool is_open() const { return static_cast<bool>(fd); }

    /** Writes the header of a new file. @return false, with errno, when it cannot be written */
    bool write_header();

    /** Appends the records, all at once, and brings a header that tells the size up to date.
     *  @param buffer  to put records together in; one for all files
     *  @return false, with errno, when this call has found that the file cannot take them */
    bool write(const record_block& block, std::vector<char>& buffer);

    void close() { fd.reset(); }

    [[nodiscard]] long long size_bytes() const { return length; }

    /** Records that were lost to a failed write. */
    [[nodiscard]] long long lost_records() const { return lost; }

    bool announced = false; // the controller knows that there is data

  private:
    void append(std::span<const char> bytes);
    void append_records(const record_block& block, std::vector<char>& buffer);
    void cut_back(off_t block_at, const record_block& block);

    const file_format& format;
    util::unique_fd fd;
    off_t length = 0;        // of the file
    off_t header_length = 0; // of that, before the records
    bool write_failed = false;
    int write_error = 0;
    long long lost = 0;
};

} // namespace vocalink
