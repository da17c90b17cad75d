// SPDX-License-Identifier: GPL-3.0-or-later
// The SIP library's event loop, its timers and watched descriptors, each with an owner.
#pragma once

#include <functional>
#include <memory>

#include <sofia-sip/su_wait.h>

namespace vocalink::dialin {

/** Initialises the SIP library and owns its loop. One for the process; everything in this folder
 *  runs on its thread. Must outlive all timers and watches. */
class event_loop {
  public:
    /** @throws std::runtime_error when the system refuses */
    event_loop();
    event_loop(const event_loop&) = delete;
    event_loop& operator=(const event_loop&) = delete;
    ~event_loop();

    /** Runs until stop() is called. */
    void run();
    void stop();
    [[nodiscard]] su_root_t* root() const { return handle; }

  private:
    su_root_t* handle = nullptr;
};

/** Calls back once, some milliseconds after start(). The callback may start it again. */
class timer {
  public:
    timer(event_loop& loop, std::function<void()> callback);
    timer(const timer&) = delete;
    timer& operator=(const timer&) = delete;

    void start(unsigned milliseconds);
    void stop();

  private:
    struct deleter {
        void operator()(su_timer_t* timer) const { su_timer_destroy(timer); }
    };
    std::function<void()> callback;
    std::unique_ptr<su_timer_t, deleter> handle;
};

/** Calls back with the events (SU_WAIT_IN, SU_WAIT_OUT ...) of a descriptor that it does not own.
 *  Declare it after the descriptor, and do not destroy it in its callback. */
class watch {
  public:
    watch(event_loop& loop, int descriptor, int events, std::function<void(int)> callback);
    watch(const watch&) = delete;
    watch& operator=(const watch&) = delete;
    ~watch();

    /** 0 pauses it. */
    void wait_for(int events);

  private:
    event_loop& loop;
    int descriptor;
    int registration = -1;
    std::function<void(int)> callback;
};

} // namespace vocalink::dialin
