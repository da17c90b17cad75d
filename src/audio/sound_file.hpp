// SPDX-License-Identifier: GPL-3.0-or-later
// A sound file that is played.
#pragma once

#include "audio/sound_frames.hpp"

#include <cstddef>
#include <memory>
#include <vector>

namespace vocalink {

/** The player's end of a sound file. Loop thread only; nothing here waits for the disk. */
class sound_file {
  public:
    /** @param opened  by the reader, or null where that failed */
    sound_file(std::shared_ptr<sound_frames> opened, std::size_t frame_bytes);
    sound_file(const sound_file&) = delete;
    sound_file& operator=(const sound_file&) = delete;
    ~sound_file();

    [[nodiscard]] bool is_open() const { return frames != nullptr; }

    enum class reading {
        frame, // one was copied
        late,  // the disk has not delivered it yet
        ended, // no whole frame is left
    };
    /** Copies the next frame to out. */
    [[nodiscard]] reading read(char* out);

  private:
    std::shared_ptr<sound_frames> frames; // shared with the reader
    const std::size_t frame_bytes;
    std::vector<char> block; // whole frames, played up to block_used
    std::size_t block_used = 0;
};

} // namespace vocalink
