// SPDX-License-Identifier: GPL-3.0-or-later
// The file of one recording while it is written.
#include "recording/recording_file.hpp"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace vocalink {

namespace {

constexpr std::size_t buffer_bytes = 16384;
constexpr mode_t usual_mode = 0666; // less the umask

} // namespace

recording_file::recording_file(const std::string& path)
    : fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, usual_mode)) {
    if (fd) {
        length = std::max<off_t>(0, ::lseek(fd.get(), 0, SEEK_END));
    }
}

bool recording_file::write(std::span<const char> record) {
    if (write_failed) {
        lost += 1;
        return true;
    }
    buffer.insert(buffer.end(), record.begin(), record.end());
    record_ends.push_back(buffer.size());
    return buffer.size() < buffer_bytes || flush();
}

bool recording_file::flush() {
    std::size_t done = 0;
    while (done < buffer.size()) {
        const ssize_t written = ::write(fd.get(), buffer.data() + done, buffer.size() - done);
        if (written > 0) {
            done += static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            cut_back(done);
            break;
        }
    }
    length += static_cast<off_t>(done);
    const bool complete = done == buffer.size();
    buffer.clear();
    record_ends.clear();
    return complete;
}

/** Takes the file back to the last record that was written whole; the rest of the buffer is lost. */
void recording_file::cut_back(std::size_t written) {
    const int error = errno;
    write_failed = true;
    const auto cut = std::upper_bound(record_ends.begin(), record_ends.end(), written);
    lost += record_ends.end() - cut;
    const std::size_t whole = cut == record_ends.begin() ? 0 : *(cut - 1);
    if (whole != written) {
        // Best effort: a file that cannot even be cut back ends in a part of a record.
        (void)!::ftruncate(fd.get(), length + static_cast<off_t>(whole));
    }
    errno = error;
}

} // namespace vocalink
