// SPDX-License-Identifier: GPL-3.0-or-later
// An open recording: its names, its notices and its file.
#include "recording/recording_file.hpp"

#include "base/config.hpp"
#include "util/unique_id.hpp"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace vocalink {

namespace {

constexpr std::size_t flushed_bytes = 65536;
constexpr mode_t usual_mode = 0666; // less the umask

} // namespace

recording_file::recording_file(std::string notices_to, std::string recording_name,
                               std::string recorded, const file_format& file_format_used)
    : owner(std::move(notices_to)), name(std::move(recording_name)), stream_id(std::move(recorded)),
      file_name(name + "_" + util::uniqueid() + file_format_used.extension),
      format(file_format_used) {}

std::string recording_file::work_path() const {
    return std::string(config::instance().work_dir) + "/" + file_name;
}

std::string recording_file::store_path() const {
    return std::string(config::instance().store_dir) + "/" + file_name;
}

int recording_file::open() {
    if (name.find('/') != std::string::npos || name.find('\0') != std::string::npos) {
        return ENOENT;
    }
    fd.reset(::open(work_path().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, usual_mode));
    if (!fd) {
        return errno;
    }
    length = std::max<off_t>(0, ::lseek(fd.get(), 0, SEEK_END));
    return 0;
}

bool recording_file::write_header() {
    if (format.header == nullptr) {
        return true;
    }
    write_buffer buffer;
    const std::string header = format.header(0);
    gather(header, buffer);
    const bool written = flush(buffer);
    header_length = length;
    return written;
}

bool recording_file::write(const record_block& block, write_buffer& buffer) {
    const bool failed_before = write_failed;
    block.for_each([&](std::span<const char> record) { gather(record, buffer); });
    (void)flush(buffer);
    if (format.header_has_size) {
        const std::string header =
            format.header(static_cast<std::uint64_t>(length - header_length));
        // If this fails, the header tells of fewer records, and the file stays readable.
        (void)!::pwrite(fd.get(), header.data(), header.size(), 0);
    }
    errno = write_error;
    return failed_before || !write_failed;
}

void recording_file::gather(std::span<const char> record, write_buffer& buffer) {
    if (write_failed) {
        lost += 1;
        return;
    }
    buffer.bytes.insert(buffer.bytes.end(), record.begin(), record.end());
    buffer.record_ends.push_back(buffer.bytes.size());
    if (buffer.bytes.size() >= flushed_bytes) {
        (void)flush(buffer);
    }
}

/** Writes the gathered records. */
bool recording_file::flush(write_buffer& buffer) {
    std::size_t done = 0;
    while (done < buffer.bytes.size()) {
        const ssize_t written =
            ::write(fd.get(), buffer.bytes.data() + done, buffer.bytes.size() - done);
        if (written > 0) {
            done += static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            done = cut_back(buffer, done);
            break;
        }
    }
    length += static_cast<off_t>(done);
    buffer.bytes.clear();
    buffer.record_ends.clear();
    errno = write_error;
    return !write_failed;
}

/** Cuts the file after the last whole record. The rest is lost.
 *  @return bytes of the buffer that stay in the file */
std::size_t recording_file::cut_back(const write_buffer& buffer, std::size_t written) {
    write_error = errno;
    write_failed = true;
    const auto cut =
        std::upper_bound(buffer.record_ends.begin(), buffer.record_ends.end(), written);
    lost += buffer.record_ends.end() - cut;
    const std::size_t whole = cut == buffer.record_ends.begin() ? 0 : *(cut - 1);
    if (whole != written) {
        // Best effort: if this fails too, the file ends with a partial record.
        (void)!::ftruncate(fd.get(), length + static_cast<off_t>(whole));
    }
    return whole;
}

} // namespace vocalink
