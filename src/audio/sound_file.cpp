// SPDX-License-Identifier: GPL-3.0-or-later
// A file of encoded frames, read ahead in blocks.
#include "audio/sound_file.hpp"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vocalink {

namespace {

constexpr std::size_t block_bytes = 4096;

} // namespace

sound_file::sound_file(const std::string& path) {
    util::unique_fd opened(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat facts {};
    if (!opened || ::fstat(opened.get(), &facts) != 0 || !S_ISREG(facts.st_mode)) {
        return;
    }
    // Has the kernel fetch the beginning from the disk before the first frame is due.
    ::posix_fadvise(opened.get(), 0, 0, POSIX_FADV_WILLNEED);
    fd = std::move(opened);
}

bool sound_file::read(char* out, std::size_t bytes) {
    if (block.size() - block_used < bytes) {
        fill();
    }
    if (block.size() - block_used < bytes) {
        return false;
    }
    std::copy_n(block.begin() + static_cast<std::ptrdiff_t>(block_used), bytes, out);
    block_used += bytes;
    return true;
}

/** Moves what is left to the front of the block and reads on behind it. */
void sound_file::fill() {
    block.erase(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(block_used));
    block_used = 0;
    const std::size_t kept = block.size();
    block.resize(block_bytes);
    ssize_t got = 0;
    do {
        got = ::pread(fd.get(), block.data() + kept, block_bytes - kept, offset);
    } while (got < 0 && errno == EINTR);
    ended = got == 0 || (got > 0 && static_cast<std::size_t>(got) < block_bytes - kept);
    const std::size_t added = got > 0 ? static_cast<std::size_t>(got) : 0;
    block.resize(kept + added);
    offset += static_cast<off_t>(added);
}

void sound_file::rewind() {
    block.clear();
    block_used = 0;
    offset = 0;
    ended = false;
}

} // namespace vocalink
