// SPDX-License-Identifier: GPL-3.0-or-later
// The frames of a sound file, read ahead of the one who plays them.
#pragma once

#include "util/mutex.hpp"
#include "util/unique_fd.hpp"

#include <string>
#include <vector>

#include <sys/types.h>

namespace vocalink {

/** A headerless file of frames, of which a block is kept ready. Shared by the reader thread, which
 *  opens and reads, and the loop, which takes block after block and never waits for the disk. */
class sound_frames {
  public:
    /** @param loop  whether the file starts again at its end */
    sound_frames(std::string path, std::size_t frame_bytes, bool loop);
    sound_frames(const sound_frames&) = delete;
    sound_frames& operator=(const sound_frames&) = delete;

    // Reader thread.

    /** Opens the file and reads the first block. Only regular files are opened, so that neither a
     *  FIFO nor a device can make the reader wait. @return whether that went well */
    [[nodiscard]] bool open();
    /** Reads the next block, unless the file has ended. */
    void read_ahead();

    // Loop thread.

    enum class taking { block, not_ready, ended };
    /** Exchanges the block for the one that is ready; it holds one frame at least. */
    [[nodiscard]] taking take(std::vector<char>& block);

  private:
    enum class progress { more, at_end, failed };
    progress read_on();
    bool rewind();

    const std::string path;
    const std::size_t frame_bytes;
    const bool loop;

    // The reader's alone.
    util::unique_fd fd;
    off_t offset = 0;          // in the file, behind what was read
    std::vector<char> reading; // what read_ahead() gathers

    util::mutex guard;
    std::vector<char> ready GUARDED_BY(guard);
    bool ended GUARDED_BY(guard) = false; // the last reading found no frame
};

} // namespace vocalink
