// SPDX-License-Identifier: GPL-3.0-or-later
// The file of one recording while it is written.
#pragma once

#include "util/unique_fd.hpp"

#include <string>
#include <vector>

namespace vocalink {

/** A buffered file that is only ever extended. Once a write has failed nothing more is written, so
 *  that what is there stays readable. Opened on the loop thread, then used by the file writer
 *  alone. */
class recording_file {
  public:
    /** Opens or creates path. is_open() tells whether that went well; if not, errno says why. */
    explicit recording_file(const std::string& path);

    [[nodiscard]] bool is_open() const { return static_cast<bool>(fd); }
    /** Whether a write has failed. */
    [[nodiscard]] bool failed() const { return write_failed; }

    /** Appends bytes. @return false, with errno, when this call has found that the file cannot take
     *  what was written */
    bool write(const char* data, std::size_t bytes);

    /** Hands what is buffered to the system. @return as write() */
    bool flush();

    [[nodiscard]] bool has_buffered() const { return !buffer.empty(); }

  private:
    util::unique_fd fd;
    std::vector<char> buffer;
    bool write_failed = false;
};

} // namespace vocalink
