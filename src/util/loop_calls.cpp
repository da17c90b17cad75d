// SPDX-License-Identifier: GPL-3.0-or-later
// Calls that workers ask the loop to make.
#include "util/loop_calls.hpp"

#include <utility>

namespace vocalink::util {

loop_calls::loop_calls() {
    wake_up.set<loop_calls, &loop_calls::make_calls>(this);
    wake_up.start();
    ev_unref(ev_default_loop(0)); // does not keep the loop running
}

loop_calls::~loop_calls() {
    ev_ref(ev_default_loop(0));
    wake_up.stop();
}

void loop_calls::post(std::function<void()> call) {
    const scoped_lock lock(guard);
    posted.push_back(std::move(call));
    wake_up.send();
}

void loop_calls::make_calls(ev::async&, int) {
    std::vector<std::function<void()>> calls;
    {
        const scoped_lock lock(guard);
        calls.swap(posted);
    }
    for (const auto& call : calls) {
        call();
    }
}

} // namespace vocalink::util
