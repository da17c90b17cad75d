// SPDX-License-Identifier: GPL-3.0-or-later
// Watches the sockets of calls, and looks at them in turns while there is much to read.
#pragma once

#include "util/event_loop.hpp"
#include "util/newest_instance.hpp"
#include "util/unique_fd.hpp"

#include <array>
#include <cstddef>

#include <sys/epoll.h>

namespace vocalink::util {

/** Calls a member function of its owner once for each packet that waits in a socket. Belongs to the
 *  owner of the socket and stops before the descriptor closes; the call may destroy it. Loop thread
 *  only. */
class packet_watcher {
  public:
    packet_watcher() = default;
    packet_watcher(const packet_watcher&) = delete;
    packet_watcher& operator=(const packet_watcher&) = delete;
    ~packet_watcher() { stop(); }

    template <class Owner, void (Owner::*method)()>
    void set(Owner* object) {
        owner = object;
        call = [](void* called) { (static_cast<Owner*>(called)->*method)(); };
    }

    /** Begins to watch. Logs when the system refuses. @param socket  non-blocking */
    void start(int socket);
    void stop();

  private:
    friend class packet_poll;

    void (*call)(void*) = nullptr;
    void* owner = nullptr;
    int watched = -1; // the socket, while it is watched
};

/** Whether packets come so fast that it is better to let some gather than to wake up for each. */
class packet_rate {
  public:
    /** Counts what came since the last call. @return whether packets should gather */
    bool note(int packets, double now_s);
    [[nodiscard]] bool is_high() const { return high; }

  private:
    bool high = false;
    int counted = 0; // packets since
    double since_s = 0;
};

/** The sockets of all calls, apart from what else the loop watches. To wake up costs as much as
 *  several packets do. So while many packets come, from about twenty calls on, the sockets are looked
 *  at once a millisecond; what else the loop watches, such as the controllers' sockets, wakes it at
 *  once all the same. Sockets have their turns in the order in which packets came, and a turn of the
 *  loop takes a bounded number of packets. Singleton, owned by main. Loop thread only. */
class packet_poll : public newest_instance<packet_poll> {
  public:
    /** Ends the process when the system refuses. */
    packet_poll();
    packet_poll(const packet_poll&) = delete;
    packet_poll& operator=(const packet_poll&) = delete;

  private:
    friend class packet_watcher;

    static constexpr int most_at_once = 64;

    bool add(packet_watcher& watcher, int socket);
    void remove(packet_watcher& watcher);
    void handle_packet(ev::io& watcher, int events);
    void handle_time(ev::timer& watcher, int events);
    void take_turn();
    int call_ready();
    void await_packets(bool gather, bool more);

    unique_fd poller;
    ev::io wake_up;  // by the first packet
    ev::timer pause; // while packets gather
    int sockets = 0; // watched
    packet_rate rate;
    std::array<epoll_event, most_at_once> ready; // of the running call
    int ready_count = 0;
};

} // namespace vocalink::util
