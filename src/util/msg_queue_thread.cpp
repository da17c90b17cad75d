// SPDX-License-Identifier: GPL-3.0-or-later
// A worker thread with a double-buffered queue of requests.
#include "util/msg_queue_thread.hpp"

#include "util/log_line.hpp"

#include <memory>
#include <utility>

namespace vocalink::util {

namespace {

constexpr double stats_period_s = 300.0;

} // namespace

MsgQueueThread::MsgQueueThread(std::string worker_name) : name(std::move(worker_name)) {
    stats_timer.set<MsgQueueThread, &MsgQueueThread::stats_callback>(this);
    stats_timer.start(stats_period_s, stats_period_s);
}

MsgQueueThread::~MsgQueueThread() {
    const scoped_lock lock(guard);
    for (ProcessRequest* const left_over : incoming) {
        delete left_over;
    }
}

void MsgQueueThread::queue(ProcessRequest* request) {
    const scoped_lock lock(guard);
    incoming.push_back(request);
    const int queued = ++count;
    if (queued > max_count) {
        max_count = queued;
    }
    if (incoming.size() == 1) { // otherwise an earlier request has woken it
        wake_worker.signal();
    }
}

void MsgQueueThread::stop() {
    stats_timer.stop();
    queue(new StopRequest);
}

void MsgQueueThread::run() {
    std::deque<ProcessRequest*> batch; // empty whenever it is swapped with the producers' queue
    while (!drain(batch)) {
        await_requests(batch);
    }
}

/** Handles a whole batch, requests behind a stop included. @return whether there was a stop */
bool MsgQueueThread::drain(std::deque<ProcessRequest*>& batch) {
    bool stopped = false;
    const int drained = static_cast<int>(batch.size());
    while (!batch.empty()) {
        const std::unique_ptr<ProcessRequest> request(batch.front());
        batch.pop_front();
        if (request->type == StopRequest::tag) {
            stopped = true;
        } else {
            handle_request(request.get());
        }
    }
    count -= drained;
    return stopped;
}

void MsgQueueThread::await_requests(std::deque<ProcessRequest*>& batch) {
    const scoped_lock lock(guard);
    while (incoming.empty()) {
        wake_worker.wait(guard);
    }
    batch.swap(incoming);
}

void MsgQueueThread::stats_callback(ev::timer&, int) {
    log_line() << "-- " << name << ": current queue size " << count.load()
               << " max size since last report " << max_count.load();
    max_count = 0;
}

} // namespace vocalink::util
