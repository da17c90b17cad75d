// SPDX-License-Identifier: GPL-3.0-or-later
// Packets of one bad kind, many of them, to one port.
#pragma once

#include "harness/rtp_peer.hpp"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace vocalink::soak {

/** Sends so many datagrams a second to one leg. The kinds:
 *  - garbage: random bytes of random length;
 *  - empty: nothing at all;
 *  - short, long: audio of another length than the stream takes;
 *  - types: every payload type in turn;
 *  - sources: audio, each packet of another source;
 *  - audio: of one source, far more than one can speak;
 *  - keys: telephone events, each packet of another key;
 *  - codes: in-band codes, one after the other. */
class flood {
  public:
    flood(std::string kind_name, std::uint16_t leg_port, double packets_per_second);

    void run(std::int64_t now_ns);

    std::uint64_t sent = 0;

  private:
    [[nodiscard]] std::vector<std::uint8_t> next_packet();
    [[nodiscard]] std::vector<std::uint8_t> audio(std::size_t payload_bytes, int type,
                                                  std::uint32_t source) const;

    const std::string kind;
    const std::uint16_t port;
    const double interval_ns;
    harness::rtp_peer peer;
    std::mt19937 random{1};
    std::int64_t start_ns = 0;
};

} // namespace vocalink::soak
