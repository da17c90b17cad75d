// SPDX-License-Identifier: GPL-3.0-or-later
// The frames of a sound file, read ahead of the one who plays them.
#include "audio/sound_frames.hpp"

#include "audio/sound_directory.hpp"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vocalink {

namespace {

// A second of 20 ms frames: frames are left out when a read takes longer.
constexpr std::size_t block_frames = 50;

} // namespace

sound_frames::sound_frames(std::string file_path, std::size_t bytes, bool starts_again)
    : path(std::move(file_path)), frame_bytes(bytes), loop(starts_again) {}

bool sound_frames::open() {
    util::unique_fd opened = open_sound(path);
    struct stat facts {};
    if (!opened || ::fstat(opened.get(), &facts) != 0 || !S_ISREG(facts.st_mode)) {
        return false;
    }
    fd = std::move(opened);
    read_ahead();
    return true;
}

void sound_frames::read_ahead() {
    reading.clear();
    progress last = progress::more;
    while (last == progress::more && reading.size() < block_frames * frame_bytes) {
        last = read_on();
        if (last == progress::at_end && rewind()) {
            last = progress::more;
        }
    }
    const util::scoped_lock lock(guard);
    std::swap(ready, reading);
    ended = ready.empty(); // a file may grow until its last frame has been played
}

/** Reads towards the end of the block. A piece of a frame at the end of the file is left out. */
sound_frames::progress sound_frames::read_on() {
    const std::size_t kept = reading.size();
    reading.resize(block_frames * frame_bytes);
    ssize_t got = 0;
    do {
        got = ::pread(fd.get(), reading.data() + kept, reading.size() - kept, offset);
    } while (got < 0 && errno == EINTR);
    if (got > 0) {
        reading.resize(kept + static_cast<std::size_t>(got));
        offset += got;
        return progress::more;
    }
    const std::size_t piece = kept % frame_bytes;
    reading.resize(kept - piece);
    offset -= static_cast<off_t>(piece);
    return got == 0 ? progress::at_end : progress::failed;
}

/** Starts again where the file loops and has a whole frame. @return whether it did */
bool sound_frames::rewind() {
    if (!loop || offset == 0) {
        return false;
    }
    offset = 0;
    return true;
}

sound_frames::taking sound_frames::take(std::vector<char>& block) {
    const util::scoped_lock lock(guard);
    if (ready.empty()) {
        return ended ? taking::ended : taking::not_ready;
    }
    std::swap(block, ready);
    ready.clear();
    return taking::block;
}

} // namespace vocalink
