// SPDX-License-Identifier: GPL-3.0-or-later
// The SIP library's event loop, its timers and watched descriptors, each with an owner.
#include "event_loop.hpp"

#include <stdexcept>

#include <sofia-sip/su.h>

namespace vocalink::dialin {

event_loop::event_loop() {
    if (su_init() != 0 || (handle = su_root_create(nullptr)) == nullptr) {
        throw std::runtime_error("could not create the event loop");
    }
    // The SIP stack would otherwise run in a thread of its own.
    su_root_threading(handle, 0);
}

event_loop::~event_loop() {
    su_root_destroy(handle);
    su_deinit();
}

void event_loop::run() {
    su_root_run(handle);
}

void event_loop::stop() {
    su_root_break(handle);
}

timer::timer(event_loop& loop, std::function<void()> on_time)
    : callback(std::move(on_time)), handle(su_timer_create(su_root_task(loop.root()), 0)) {
    if (!handle) {
        throw std::bad_alloc();
    }
}

void timer::start(unsigned milliseconds) {
    const auto forward = [](su_root_magic_t*, su_timer_t*, su_timer_arg_t* self) {
        reinterpret_cast<timer*>(self)->callback();
    };
    su_timer_set_interval(handle.get(), forward, reinterpret_cast<su_timer_arg_t*>(this),
                          milliseconds);
}

void timer::stop() {
    su_timer_reset(handle.get());
}

watch::watch(event_loop& owner, int fd, int events, std::function<void(int)> on_event)
    : loop(owner), descriptor(fd), callback(std::move(on_event)) {
    const auto forward = [](su_root_magic_t*, su_wait_t* wait, su_wakeup_arg_t* arg) {
        auto* self = reinterpret_cast<watch*>(arg);
        self->callback(su_wait_events(wait, self->descriptor));
        return 0;
    };
    su_wait_t wait[1] = {SU_WAIT_INIT};
    if (su_wait_create(wait, descriptor, events) != 0 ||
        (registration = su_root_register(loop.root(), wait, forward,
                                         reinterpret_cast<su_wakeup_arg_t*>(this), 0)) < 0) {
        throw std::runtime_error("could not watch a descriptor");
    }
}

watch::~watch() {
    su_root_deregister(loop.root(), registration);
}

void watch::wait_for(int events) {
    su_root_eventmask(loop.root(), registration, descriptor, events);
}

} // namespace vocalink::dialin
