// SPDX-License-Identifier: GPL-3.0-or-later
// The yardstick for relayed calls: the least that a relay on plain sockets can do.
#pragma once

#include <cstddef>

#include <netinet/in.h>

namespace vocalink::bench {

/** Relays between legs 2k and 2k+1 for ever: one level-triggered epoll, and for each readiness one
 *  recvfrom on the leg and one sendto to its partner's remote end, which is whoever sent to the
 *  partner last. Looks at no byte of a packet and counts nothing. Body of a child_process.
 *  @param legs    an even number
 *  @param remote  where each leg sends until it has heard somebody */
void run_bare_relay(std::size_t legs, const sockaddr_in& remote, int report_fd);

} // namespace vocalink::bench
