// SPDX-License-Identifier: GPL-3.0-or-later
// The yardstick for conferences: the least that a mixing loop on plain sockets can do.
#pragma once

#include <cstddef>

#include <netinet/in.h>

namespace vocalink::bench {

/** Mixes all legs into one conference for ever, one cycle every 30 ms on a timer descriptor. Per
 *  cycle and leg: one recvfrom, µ-law to linear by table; the sum of all legs in 32 bits; the leg's
 *  own samples taken off again, the rest saturated to 16 bits and brought back to µ-law; an RTP
 *  header; one sendto to whoever sent to the leg last. A leg without a packet is silent for
 *  the cycle. Body of a child_process.
 *  @param remote  where each leg sends until it has heard somebody */
void run_bare_mixer(std::size_t legs, const sockaddr_in& remote, int report_fd);

} // namespace vocalink::bench
