// SPDX-License-Identifier: GPL-3.0-or-later
// The thread that writes the log, so that nobody who logs waits for whoever reads it.
#include "util/log_writer.hpp"

#include "util/fatal_error.hpp"
#include "util/mutex.hpp"
#include "util/retry.hpp"
#include "util/thread.hpp"

#include <algorithm>
#include <atomic>
#include <climits>
#include <string>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace vocalink::util {

namespace {

constexpr std::size_t max_queued_bytes = 1'048'576;
constexpr long long finish_patience_ns = 1'000'000'000;
constexpr int finish_rounds = 5;

std::atomic<long long> dropped_in_all = 0;

/** Writes all of it, waiting for a reader if need be. @return false when part of it is lost */
bool write_whole(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written =
            retry_on_signal([&] { return ::write(STDERR_FILENO, text.data(), text.size()); });
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            pollfd writable{STDERR_FILENO, POLLOUT, 0};
            ::poll(&writable, 1, -1);
        } else {
            return false;
        }
    }
    return true;
}

/** How much of the text to write in one call: whole lines, and no more than a pipe takes in one
 *  piece, so that lines of other processes never come between. */
std::size_t next_piece(std::string_view text) {
    if (text.size() <= PIPE_BUF) {
        return text.size();
    }
    const auto end = text.rfind('\n', PIPE_BUF - 1);
    return (end != std::string_view::npos ? end : text.find('\n')) + 1;
}

class log_queue {
  public:
    void add(std::string_view lines) {
        const scoped_lock lock(guard);
        // After a drop nothing is taken until the thread has reached the gap: lines stay in order.
        if (dropped > 0 || (!queued.empty() && queued.size() + lines.size() > max_queued_bytes)) {
            dropped += 1;
            dropped_in_all += 1;
            return;
        }
        queued += lines;
        if (resting) {
            resting = false;
            wake_writer.signal();
        }
    }

    void write_until_end() {
        std::string batch;
        while (take(batch)) {
            write_batch(batch);
            batch.clear();
        }
    }

    /** @return whether all was written and the thread is at its end */
    bool finish() {
        const scoped_lock lock(guard);
        ending = true;
        wake_writer.signal();
        for (int round = 0; round < finish_rounds && !ended; ++round) {
            const long long before = pieces_written;
            const std::timespec until = monotonic_after(finish_patience_ns);
            while (!ended && wake_finisher.wait_until(guard, until)) {
            }
            if (pieces_written == before) {
                break;
            }
        }
        return ended;
    }

  private:
    /** Waits for lines and takes them all. @return false when there are none and the end has come */
    bool take(std::string& batch) {
        const scoped_lock lock(guard);
        while (queued.empty() && !ending) {
            resting = true;
            wake_writer.wait(guard);
        }
        resting = false;
        if (queued.empty()) {
            ended = true;
            wake_finisher.signal();
            return false;
        }
        batch.swap(queued);
        dropped_behind_batch = std::exchange(dropped, 0);
        return true;
    }

    void write_batch(std::string_view batch) {
        tell_of_lost_lines();
        while (!batch.empty()) {
            const std::size_t bytes = next_piece(batch);
            if (write_whole(batch.substr(0, bytes))) {
                pieces_written += 1;
            } else {
                const auto lines =
                    std::count(batch.begin(), batch.begin() + static_cast<long>(bytes), '\n');
                lost += lines;
                dropped_in_all += lines;
            }
            batch.remove_prefix(bytes);
        }
        lost += dropped_behind_batch;
        tell_of_lost_lines();
    }

    void tell_of_lost_lines() {
        if (lost > 0 && write_whole("-- main: " + std::to_string(lost) + " log lines dropped\n")) {
            lost = 0;
        }
    }

    mutex guard;
    condition wake_writer;
    condition wake_finisher;
    std::string queued GUARDED_BY(guard);      // whole lines
    long long dropped GUARDED_BY(guard) = 0;   // lines, behind those queued
    bool resting GUARDED_BY(guard) = false;    // the thread waits to be woken
    bool ending GUARDED_BY(guard) = false;     // asked to end when nothing is queued
    bool ended GUARDED_BY(guard) = false;      // has done so
    std::atomic<long long> pieces_written = 0; // tells whether anybody takes the log
    long long lost = 0;                        // the thread's: lines not written, and not told of
    long long dropped_behind_batch = 0;        // the thread's
};

std::atomic<log_queue*> running = nullptr;

void* write_log_of(void* queue) {
    static_cast<log_queue*>(queue)->write_until_end();
    return nullptr;
}

} // namespace

log_writer::log_writer() {
    // Never destroyed, because the thread may be blocked in a write until the process ends.
    static auto* const queue = new log_queue;
    pthread_t thread{};
    if (const int error = start_thread(thread, write_log_of, queue); error != 0) {
        fatal_error(error, " starting the log writer: ");
    }
    pthread_setname_np(thread, "log");
    pthread_detach(thread);
    running = queue;
}

void log_writer::finish() {
    if (log_queue* const queue = running; queue != nullptr && queue->finish()) {
        running = nullptr;
    }
}

long long dropped_log_lines() {
    return dropped_in_all;
}

void write_log(std::string_view lines) {
    const int kept_errno = errno; // a line about an error must not change it for the code that logs
    if (log_queue* const queue = running; queue != nullptr) {
        queue->add(lines);
    } else {
        write_whole(lines);
    }
    errno = kept_errno;
}

} // namespace vocalink::util
