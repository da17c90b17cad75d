// SPDX-License-Identifier: GPL-3.0-or-later
// Calls that workers ask the loop to make.
#pragma once

#include "util/event_loop.hpp"
#include "util/mutex.hpp"
#include "util/newest_instance.hpp"

#include <functional>
#include <vector>

namespace vocalink::util {

/** Makes calls on the loop thread on behalf of other threads, in the order in which each asked.
 *  Singleton, owned by main, which ends the workers first. It does not keep the loop running: what
 *  is posted while the loop ends is dropped. */
class loop_calls : public newest_instance<loop_calls> {
  public:
    /** Loop thread. */
    loop_calls();
    loop_calls(const loop_calls&) = delete;
    loop_calls& operator=(const loop_calls&) = delete;
    ~loop_calls();

    /** Queues a call for the loop's next turn. It refers to objects that live until then, or looks
     *  them up. Any thread. */
    void post(std::function<void()> call);

  private:
    void make_calls(ev::async& watcher, int events);

    mutex guard;
    std::vector<std::function<void()>> posted GUARDED_BY(guard);
    ev::async wake_up;
};

} // namespace vocalink::util
