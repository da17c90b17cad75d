// SPDX-License-Identifier: GPL-3.0-or-later
// The file of one recording while it is written.
#pragma once

#include "util/unique_fd.hpp"

#include <atomic>
#include <span>
#include <string>
#include <vector>

#include <sys/types.h>

namespace vocalink {

/** A buffered file that is only ever extended, by whole records. Once a write has failed the file is
 *  cut back to its last whole record and nothing more is written, so that what is there stays
 *  readable. Opened on the loop thread, then used by the file writer alone. */
class recording_file {
  public:
    /** Opens or creates path. is_open() tells whether that went well; if not, errno says why. */
    explicit recording_file(const std::string& path);

    [[nodiscard]] bool is_open() const { return static_cast<bool>(fd); }
    /** Whether a write has failed. */
    [[nodiscard]] bool failed() const { return write_failed; }
    /** Records that were not written because of that. */
    [[nodiscard]] long long lost_records() const { return lost; }

    /** Appends one record. @return false, with errno, when this call has found that the file cannot
     *  take what was written */
    bool write(std::span<const char> record);

    /** Hands what is buffered to the system. @return as write() */
    bool flush();

    /** Bytes of memory that wait for the writer on behalf of this file. */
    std::atomic<long long> waiting_bytes = 0;
    /** Fillings of silence that wait; one of them can be long. */
    std::atomic<int> waiting_fillings = 0;

  private:
    void cut_back(std::size_t written);

    util::unique_fd fd;
    off_t length = 0; // of the file, without what is buffered
    std::vector<char> buffer;
    std::vector<std::size_t> record_ends; // in the buffer
    bool write_failed = false;
    long long lost = 0;
};

} // namespace vocalink
