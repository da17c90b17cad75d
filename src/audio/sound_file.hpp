// SPDX-License-Identifier: GPL-3.0-or-later
// A file of encoded frames, read ahead in blocks.
#pragma once

#include "util/unique_fd.hpp"

#include <string>
#include <vector>

#include <sys/types.h>

namespace vocalink {

/** Reads a headerless sound file from its start. Only regular files are opened, so that neither a
 *  FIFO nor a device can make a reader wait. Reading goes in blocks: one system call for many
 *  frames. */
class sound_file {
  public:
    /** Opens the file; is_open() tells whether that went well. */
    explicit sound_file(const std::string& path);

    [[nodiscard]] bool is_open() const { return static_cast<bool>(fd); }

    /** Copies the next bytes to out. @return whether there were that many; if not, none are used up
     *  and at_end() tells the end of the file from a read error */
    [[nodiscard]] bool read(char* out, std::size_t bytes);

    [[nodiscard]] bool at_end() const { return ended; }

    /** Starts again at offset 0, with what the file then holds. */
    void rewind();

  private:
    void fill();

    util::unique_fd fd;
    std::vector<char> block; // read and not yet taken, from block_used on
    std::size_t block_used = 0;
    off_t offset = 0;   // in the file, behind the block
    bool ended = false; // the last short read met the end of the file
};

} // namespace vocalink
