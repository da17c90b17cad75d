// SPDX-License-Identifier: GPL-3.0-or-later
// The file of one recording while it is written.
#include "recording/recording_file.hpp"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace vocalink {

namespace {

constexpr std::size_t buffer_bytes = 16384;
constexpr mode_t usual_mode = 0666; // less the umask

} // namespace

recording_file::recording_file(const std::string& path)
    : fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, usual_mode)) {}

bool recording_file::write(const char* data, std::size_t bytes) {
    if (write_failed) {
        return true;
    }
    buffer.insert(buffer.end(), data, data + bytes);
    return buffer.size() < buffer_bytes || flush();
}

bool recording_file::flush() {
    const char* rest = buffer.data();
    std::size_t bytes = buffer.size();
    while (bytes > 0) {
        const ssize_t written = ::write(fd.get(), rest, bytes);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            write_failed = true;
            break;
        }
        rest += written;
        bytes -= static_cast<std::size_t>(written);
    }
    buffer.clear();
    return bytes == 0;
}

} // namespace vocalink
