// SPDX-License-Identifier: GPL-3.0-or-later
// A worker thread with a double-buffered queue of requests.
#pragma once

#include "util/event_loop.hpp"
#include "util/mutex.hpp"
#include "util/process_request.hpp"
#include "util/thread.hpp"

#include <atomic>
#include <deque>
#include <string>

namespace vocalink::util {

/** Takes requests from any thread and handles them one by one on its own thread. Producers hold the
 *  mutex for one append, the worker for one swap a batch, so that a producer never waits for the
 *  work. */
class MsgQueueThread : public Thread {
  public:
    /** @param name  for the statistics line */
    explicit MsgQueueThread(std::string name);
    virtual ~MsgQueueThread();

    /** Hands a request over to the worker, which deletes it. Any thread. */
    void queue(ProcessRequest* request);

    /** Asks the worker to end after the requests that are queued already. Loop thread. */
    void stop() override;

    /** Requests queued and not yet handled: a snapshot. Any thread. */
    [[nodiscard]] int get_count() const { return count; }

  protected:
    void run() override;
    /** Handles one request on the worker's thread, without the mutex. Must not keep it. */
    virtual void handle_request(ProcessRequest* request) = 0;

  private:
    bool drain(std::deque<ProcessRequest*>& batch);
    void await_requests(std::deque<ProcessRequest*>& batch);
    void stats_callback(ev::timer& timer, int events);

    const std::string name;
    mutex guard;
    condition wake_worker;
    std::deque<ProcessRequest*> incoming GUARDED_BY(guard);
    std::atomic<int> count = 0;
    std::atomic<int> max_count = 0; // since the last statistics line
    ev::timer stats_timer;
};

} // namespace vocalink::util
