// SPDX-License-Identifier: GPL-3.0-or-later
// A sound file that is played.
#include "audio/sound_file.hpp"

#include "audio/sound_reader_thread.hpp"

#include <algorithm>
#include <utility>

namespace vocalink {

sound_file::sound_file(std::shared_ptr<sound_frames> opened, std::size_t bytes)
    : frames(std::move(opened)), frame_bytes(bytes) {}

sound_file::~sound_file() {
    if (frames) {
        SoundReaderThread::instance().close(std::move(frames));
    }
}

sound_file::reading sound_file::read(char* out) {
    if (block_used == block.size()) {
        const auto taken = frames->take(block);
        if (taken != sound_frames::taking::block) {
            return taken == sound_frames::taking::ended ? reading::ended : reading::late;
        }
        block_used = 0;
        SoundReaderThread::instance().read_ahead(frames);
    }
    std::copy_n(block.begin() + static_cast<std::ptrdiff_t>(block_used), frame_bytes, out);
    block_used += frame_bytes;
    return reading::frame;
}

} // namespace vocalink
