// SPDX-License-Identifier: GPL-3.0-or-later
// The loop's end of a recording's file.
#include "recording/record_sink.hpp"

#include "recording/logging_thread.hpp"
#include "recording/process_request.hpp"

#include <utility>

namespace vocalink {

namespace {

constexpr long long full_block_bytes = 65536;
constexpr std::uint32_t max_copies_held_back = 3600 * 50; // an hour of frames of 20 ms

// No recording may take the others' share of what may wait for the writer.
constexpr long long max_waiting_bytes_per_file = 16LL * 1024 * 1024;

} // namespace

record_sink::record_sink(std::unique_ptr<recording_file> new_file, opened_handler opened)
    : file(std::move(new_file)) {
    LoggingThread::instance().queue_open(new OpenFileRequest(file, std::move(opened)));
}

record_sink::~record_sink() {
    LoggingThread& writer = LoggingThread::instance();
    if (awaits_turn) {
        writer.forget(*this);
    }
    if (!block.empty()) {
        queue_block();
    }
    writer.queue_close(new CloseFileRequest(file));
}

void record_sink::release() {
    held = false;
    hand_over();
}

bool record_sink::append(std::span<const char> prefix, std::span<const char> body) {
    if (is_full()) {
        LoggingThread::instance().count_refused();
        return false;
    }
    block.append(prefix, body);
    hand_over();
    return true;
}

bool record_sink::append_copies(std::span<const char> frame, std::uint32_t copies) {
    if (is_full() && block.copies_at_end() + copies > max_copies_held_back) {
        LoggingThread::instance().count_refused();
        return false;
    }
    block.append_copies(frame, copies);
    hand_over();
    return true;
}

void record_sink::take_turn() {
    awaits_turn = false;
    // A slow disk takes as long for a small block as for a large one: while one waits, the next grows.
    const bool writer_is_free = file->waiting_bytes.load(std::memory_order_relaxed) == 0;
    if (!block.empty() && writer_is_free && !must_wait()) {
        queue_block();
    }
    hand_over();
}

/** Hands over the first record and a full block at once, anything else at the next turn. */
void record_sink::hand_over() {
    if (block.empty()) {
        return;
    }
    if ((!has_data || block.file_bytes() >= full_block_bytes) && !must_wait()) {
        queue_block();
    } else if (!awaits_turn) {
        awaits_turn = true;
        LoggingThread::instance().give_turn(*this);
    }
}

bool record_sink::is_full() const {
    return file->waiting_bytes.load(std::memory_order_relaxed) + block.file_bytes() >=
               max_waiting_bytes_per_file ||
           LoggingThread::instance().is_behind();
}

bool record_sink::must_wait() const {
    return held ||
           file->waiting_bytes.load(std::memory_order_relaxed) >= max_waiting_bytes_per_file ||
           LoggingThread::instance().is_behind();
}

void record_sink::queue_block() {
    has_data = true;
    const std::size_t usual_bytes = block.memory_bytes();
    file->waiting_bytes += block.file_bytes();
    LoggingThread::instance().queue_block(new WriteBlockRequest(file, std::exchange(block, {})));
    block.reserve(usual_bytes + usual_bytes / 8);
}

} // namespace vocalink
