// SPDX-License-Identifier: GPL-3.0-or-later
// Watches the sockets of calls, and looks at them in turns while there is much to read.
#include "util/packet_poll.hpp"

#include "util/fatal_error.hpp"
#include "util/log_line.hpp"

#include <algorithm>
#include <cerrno>

namespace vocalink::util {

namespace {

constexpr double pause_s = 0.001;

// Packets a second. Below the first a pause would save no wake-up; from the second on it saves every
// other one.
constexpr double low_rate = 1000;
constexpr double high_rate = 2000;
constexpr double measured_s = 0.02; // a packet of every call

} // namespace

void packet_watcher::start(int socket) {
    if (watched < 0 && packet_poll::instance().add(*this, socket)) {
        watched = socket;
    }
}

void packet_watcher::stop() {
    if (watched >= 0) {
        packet_poll::instance().remove(*this);
        watched = -1;
    }
}

bool packet_rate::note(int packets, double now_s) {
    counted += packets;
    const double elapsed_s = now_s - since_s;
    if (elapsed_s >= measured_s) {
        high = counted >= elapsed_s * (high ? low_rate : high_rate);
        counted = 0;
        since_s = now_s;
    }
    return high;
}

packet_poll::packet_poll() : poller(::epoll_create1(EPOLL_CLOEXEC)) {
    if (!poller) {
        fatal_error(errno, " creating epoll instance:");
    }
    wake_up.set<packet_poll, &packet_poll::handle_packet>(this);
    wake_up.set(poller.get(), ev::READ);
    pause.set<packet_poll, &packet_poll::handle_time>(this);
}

bool packet_poll::add(packet_watcher& watcher, int socket) {
    epoll_event interest{EPOLLIN, {.ptr = &watcher}};
    if (::epoll_ctl(poller.get(), EPOLL_CTL_ADD, socket, &interest) != 0) {
        log_line() << "cannot watch a socket: " << error_text(errno);
        return false;
    }
    sockets += 1;
    if (!pause.is_active()) {
        wake_up.start();
    }
    return true;
}

void packet_poll::remove(packet_watcher& watcher) {
    ::epoll_ctl(poller.get(), EPOLL_CTL_DEL, watcher.watched, nullptr);
    for (int i = 0; i < ready_count; ++i) {
        if (ready[static_cast<std::size_t>(i)].data.ptr == &watcher) {
            ready[static_cast<std::size_t>(i)].data.ptr = nullptr; // its turn does not come
        }
    }
    sockets -= 1;
    if (sockets == 0) { // nothing is left that would keep the loop running
        wake_up.stop();
        pause.stop();
    }
}

void packet_poll::handle_packet(ev::io&, int) {
    take_turn();
}

void packet_poll::handle_time(ev::timer&, int) {
    take_turn();
}

/** While packets gather, reads until none waits, so that those of one far end do not wait for each
 *  other, or until it is time to look at what else the loop watches. */
void packet_poll::take_turn() {
    int taken = 0;
    int count = 0;
    do {
        count = call_ready();
        taken += count;
    } while (rate.is_high() && count > 0 && taken < most_at_once);
    if (sockets > 0) {
        await_packets(rate.note(taken, loop_now()), count > 0);
    }
}

/** Has each socket that is ready read once. @return how many there were */
int packet_poll::call_ready() {
    ready_count = std::max(::epoll_wait(poller.get(), ready.data(), most_at_once, 0), 0);
    const int count = ready_count;
    for (int i = 0; i < count; ++i) {
        void* const at = ready[static_cast<std::size_t>(i)].data.ptr;
        if (at != nullptr) {
            const auto& watcher = *static_cast<packet_watcher*>(at);
            watcher.call(watcher.owner);
        }
    }
    ready_count = 0;
    return count;
}

/** @param more  may be waiting already */
void packet_poll::await_packets(bool gather, bool more) {
    if (gather) {
        wake_up.stop();
        pause.start(more ? 0.0 : pause_s);
    } else {
        pause.stop();
        wake_up.start();
    }
}

} // namespace vocalink::util
