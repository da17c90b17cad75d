// SPDX-License-Identifier: GPL-3.0-or-later
// What a service manager is told about this process.
#pragma once

#include "util/event_loop.hpp"
#include "util/unique_fd.hpp"

#include <string_view>

#include <sys/socket.h>
#include <sys/un.h>

namespace vocalink::util {

/** Sends the datagrams of sd_notify(3) to the socket that NOTIFY_SOCKET names, and does nothing where
 *  the variable is not set. Where the service has a watchdog, ready() starts a timer that feeds it
 *  from the loop, so that a loop that is stuck gets the process restarted.
 *
 *  Never waits: a datagram that the manager does not take at once is dropped. Loop thread only. */
class service_notifier {
  public:
    /** Takes the manager's variables out of the environment, so that no child speaks for us. */
    service_notifier();
    service_notifier(const service_notifier&) = delete;
    service_notifier& operator=(const service_notifier&) = delete;

    /** The daemon serves its socket. */
    void ready();

    /** The daemon has begun to end; the watchdog is not fed any more. */
    void stopping();

  private:
    void set_address(std::string_view name);
    void send(std::string_view state) const;
    void feed_watchdog(ev::timer& timer, int events);

    sockaddr_un address{};        // of the manager
    socklen_t address_bytes = 0;  // 0 when there is no manager
    unique_fd socket;             // unbound
    double watchdog_period_s = 0; // 0 without a watchdog
    ev::timer watchdog_timer;
};

} // namespace vocalink::util
