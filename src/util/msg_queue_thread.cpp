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
    pthread_cond_init(&cond, nullptr);
    pthread_mutex_init(&mutex, nullptr);
}

MsgQueueThread::~MsgQueueThread() {
    for (const auto& left_over : queues) {
        for (ProcessRequest* const request : left_over) {
            delete request;
        }
    }
    pthread_cond_destroy(&cond);
    pthread_mutex_destroy(&mutex);
}

void MsgQueueThread::queue(ProcessRequest* request) {
    const Lock lock(mutex);
    queues[in].push_back(request);
    const int queued = ++count;
    if (queued > max_count) {
        max_count = queued;
    }
    if (queues[in].size() == 1) { // else the worker has been woken for the ones before
        pthread_cond_signal(&cond);
    }
}

void MsgQueueThread::stop() {
    stats_timer.stop();
    queue(new StopRequest);
}

void MsgQueueThread::run() {
    for (bool done = false; !done;) {
        done = drain(queues[out]);
        if (!done) {
            await_requests();
        }
    }
}

/** Handles a whole batch, also what stands behind a stop. @return whether there was a stop */
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

void MsgQueueThread::await_requests() {
    const Lock lock(mutex);
    while (queues[in].empty()) {
        pthread_cond_wait(&cond, &mutex);
    }
    std::swap(in, out);
}

void MsgQueueThread::stats_callback(ev::timer&, int) {
    log_line() << "-- " << name << ": current queue size " << count.load()
               << " max size since last report " << max_count.load();
    max_count = 0;
}

} // namespace vocalink::util
