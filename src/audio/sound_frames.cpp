// SPDX-License-Identifier: GPL-3.0-or-later
// The frames of a sound file, read ahead of the one who plays them.
#include "audio/sound_frames.hpp"

#include "util/thread.hpp"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vocalink {

namespace {

// A second of 20 ms frames: what a disk may take for a read before a frame is left out.
constexpr std::size_t block_frames = 50;

} // namespace

sound_frames::sound_frames(std::string file_path, std::size_t bytes, bool starts_again)
    : path(std::move(file_path)), frame_bytes(bytes), loop(starts_again) {
    pthread_mutex_init(&mutex, nullptr);
}

sound_frames::~sound_frames() {
    pthread_mutex_destroy(&mutex);
}

bool sound_frames::open() {
    util::unique_fd opened(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat facts {};
    if (!opened || ::fstat(opened.get(), &facts) != 0 || !S_ISREG(facts.st_mode)) {
        return false;
    }
    fd = std::move(opened);
    read_ahead();
    return true;
}

void sound_frames::read_ahead() {
    const std::size_t block_bytes = block_frames * frame_bytes;
    reading.clear();
    while (!exhausted && reading.size() < block_bytes) {
        exhausted = !read_on() && !rewind();
    }
    const util::Lock lock(mutex);
    std::swap(ready, reading);
    ended = exhausted;
}

/** Reads towards the end of the block. @return false at the end of the file, where a piece of a
 *  frame is left out, and after an error */
bool sound_frames::read_on() {
    const std::size_t kept = reading.size();
    reading.resize(block_frames * frame_bytes);
    ssize_t got = 0;
    do {
        got = ::pread(fd.get(), reading.data() + kept, reading.size() - kept, offset);
    } while (got < 0 && errno == EINTR);
    if (got > 0) {
        reading.resize(kept + static_cast<std::size_t>(got));
        offset += got;
        return true;
    }
    reading.resize(kept - kept % frame_bytes);
    read_failed = got < 0;
    return false;
}

/** Starts again where a file loops. One that has no whole frame, or cannot be read, does not.
 *  @return whether it did */
bool sound_frames::rewind() {
    const bool again = loop && !read_failed && offset >= static_cast<off_t>(frame_bytes);
    offset = 0;
    return again;
}

sound_frames::taking sound_frames::take(std::vector<char>& block) {
    const util::Lock lock(mutex);
    if (ready.empty()) {
        return ended ? taking::ended : taking::not_ready;
    }
    std::swap(block, ready);
    ready.clear();
    return taking::block;
}

} // namespace vocalink
