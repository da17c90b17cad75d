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
    record_block block;
    block.append({}, format.header(0));
    std::vector<char> unused;
    append_records(block, unused);
    header_length = length;
    errno = write_error;
    return !write_failed;
}

bool recording_file::write(const record_block& block, std::vector<char>& buffer) {
    const bool failed_before = write_failed;
    append_records(block, buffer);
    if (format.header_has_size) {
        const std::string header =
            format.header(static_cast<std::uint64_t>(length - header_length));
        // If this fails, the header tells of fewer records, and the file stays readable.
        (void)!::pwrite(fd.get(), header.data(), header.size(), 0);
    }
    errno = write_error;
    return failed_before || !write_failed;
}

/** Writes a block as it lies, unless some of its records repeat. What the file cannot take is lost. */
void recording_file::append_records(const record_block& block, std::vector<char>& buffer) {
    const off_t block_at = length;
    block.for_each_piece([&](std::span<const char> bytes, std::uint32_t copies) {
        if (static_cast<long long>(bytes.size()) == block.file_bytes()) {
            append(bytes);
            return;
        }
        for (; copies > 0; --copies) {
            buffer.insert(buffer.end(), bytes.begin(), bytes.end());
            if (buffer.size() >= flushed_bytes) {
                append(buffer);
                buffer.clear();
            }
        }
    });
    append(buffer);
    buffer.clear();
    if (write_failed) {
        cut_back(block_at, block);
    }
}

/** Writes bytes, or as many as the file takes. Does nothing once a write has failed. */
void recording_file::append(std::span<const char> bytes) {
    while (!bytes.empty() && !write_failed) {
        const ssize_t written = ::write(fd.get(), bytes.data(), bytes.size());
        if (written > 0) {
            length += static_cast<off_t>(written);
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            write_error = errno;
            write_failed = true;
        }
    }
}

/** Cuts the file after the last whole record of a block that it could not take. The rest is lost.
 *  @param block_at  where the block begins in the file */
void recording_file::cut_back(off_t block_at, const record_block& block) {
    const record_block::extent whole = block.whole_records(length - block_at);
    lost += block.whole_records(block.file_bytes()).records - whole.records;
    if (block_at + whole.bytes != length) {
        length = block_at + static_cast<off_t>(whole.bytes);
        // Best effort: if this fails too, the file ends with a partial record.
        (void)!::ftruncate(fd.get(), length);
    }
}

} // namespace vocalink
