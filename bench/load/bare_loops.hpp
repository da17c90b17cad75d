// SPDX-License-Identifier: GPL-3.0-or-later
// The yardsticks: the least that a relay and a mixer on plain sockets can do.
#pragma once

#include "load/process_figures.hpp"

#include <vector>

#include <netinet/in.h>

namespace vocalink::bench {

/** A leg's socket on 127.0.0.1, and who gets what the leg is sent. */
struct bare_leg {
    int fd;
    sockaddr_in remote; // whoever sent to the leg last
};

/** Relays between legs 2k and 2k+1 for ever: one level-triggered epoll, and for each readiness one
 *  recvfrom on the leg and one sendto to its partner's remote end. Looks at no byte of a packet and
 *  counts nothing. */
[[noreturn]] void relay_for_ever(std::vector<bare_leg>& legs, std::size_t room = 2);

/** Mixes legs into rooms for ever, one cycle every 30 ms on a timer descriptor. Per cycle and leg: one
 *  recvfrom, µ-law to linear; the sum of the room in 32 bits; the leg's own samples taken off again,
 *  the rest saturated to 16 bits and brought back to µ-law; an RTP header; one sendto. A leg without
 *  a packet is silent for the cycle.
 *  @param room  legs that hear each other */
[[noreturn]] void mix_for_ever(std::vector<bare_leg>& legs, std::size_t room);

/** The same every 20 ms, each leg read until it is empty. */
[[noreturn]] void confer_for_ever(std::vector<bare_leg>& legs, std::size_t room);

using loop_body = void(std::vector<bare_leg>&, std::size_t room);

/** One of these loops in a process of its own, so that its cost can be told from everybody else's.
 *  It dies with its parent, which must have one thread only. */
class bare_loop {
  public:
    /** @param remote_port  where each leg sends until it has heard somebody */
    bare_loop(loop_body* body, std::size_t legs, std::size_t room, std::uint16_t remote_port);
    bare_loop(const bare_loop&) = delete;
    bare_loop& operator=(const bare_loop&) = delete;
    ~bare_loop();

    [[nodiscard]] const server& process() const { return started; }

  private:
    server started;
};

} // namespace vocalink::bench
