// SPDX-License-Identifier: GPL-3.0-or-later
// What a service manager is told about this process.
#include "util/service_notifier.hpp"

#include "util/log_line.hpp"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <string>

#include <unistd.h>

namespace vocalink::util {

namespace {

/** A variable's value, empty when it is not set. It is not set afterwards. */
std::string take_variable(const char* name) {
    const char* const value = std::getenv(name);
    std::string taken = value != nullptr ? value : "";
    ::unsetenv(name);
    return taken;
}

/** Half of the time after which the manager gives the process up, in seconds; 0 without a watchdog,
 *  or where the watchdog is for another process. */
double take_watchdog_period() {
    const std::string microseconds = take_variable("WATCHDOG_USEC");
    const std::string process = take_variable("WATCHDOG_PID");
    const bool ours = process.empty() || std::atol(process.c_str()) == ::getpid();
    return ours ? std::strtod(microseconds.c_str(), nullptr) / 1e6 / 2 : 0;
}

} // namespace

service_notifier::service_notifier() : watchdog_period_s(take_watchdog_period()) {
    watchdog_timer.set<service_notifier, &service_notifier::feed_watchdog>(this);
    if (const std::string name = take_variable("NOTIFY_SOCKET"); !name.empty()) {
        set_address(name);
        socket.reset(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    }
}

/** Understands a path, and "@name" for a name in the abstract namespace. */
void service_notifier::set_address(std::string_view name) {
    const bool known = name[0] == '/' || name[0] == '@';
    if (!known || name.size() >= sizeof address.sun_path) {
        log_line("main") << "cannot notify the service manager at " << name;
        return;
    }
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, name.size());
    if (name[0] == '@') {
        address.sun_path[0] = '\0';
    }
    address_bytes = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
}

void service_notifier::ready() {
    send("READY=1");
    if (address_bytes > 0 && watchdog_period_s > 0) {
        watchdog_timer.start(watchdog_period_s, watchdog_period_s);
    }
}

void service_notifier::stopping() {
    watchdog_timer.stop();
    send("STOPPING=1");
}

void service_notifier::feed_watchdog(ev::timer&, int) {
    send("WATCHDOG=1");
}

void service_notifier::send(std::string_view state) const {
    if (address_bytes > 0 &&
        ::sendto(socket.get(), state.data(), state.size(), MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr*>(&address), address_bytes) < 0 &&
        state != "WATCHDOG=1") { // the manager is busy; the next one comes soon
        log_line("main") << "could not tell the service manager " << state << ": "
                         << error_text(errno);
    }
}

} // namespace vocalink::util
