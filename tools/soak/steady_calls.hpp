// SPDX-License-Identifier: GPL-3.0-or-later
// Calls that go on for the whole of a soak run, and every packet of theirs.
#pragma once

#include "load/load_socket.hpp"

#include <cstdint>
#include <vector>

namespace vocalink::soak {

/** Telephones in pairs: each sends 50 packets a second to a leg, and takes what the partner's leg
 *  sends. Unlike the load of a benchmark it leaves the processor alone between two packets. */
class steady_calls {
  public:
    /** @param leg_ports  of the daemon's streams; 2k and 2k+1 are bridged */
    void add(const std::vector<std::uint16_t>& leg_ports);
    void forget() { legs.clear(); }

    /** Sends what is due, however late it is, and takes what has come. */
    void run(std::int64_t now_ns);
    void receive();

    /** Where the legs shall send to at first. */
    [[nodiscard]] std::uint16_t port() const { return socket.port(); }

    std::uint64_t sent = 0;
    std::uint64_t received = 0; // from the partner's leg
    std::uint64_t wrong = 0;    // from elsewhere, or of another content

  private:
    struct leg {
        std::uint16_t port;
        std::uint16_t sequence = 0;
        std::int64_t next_ns = 0; // when the next packet is due
    };

    void send(std::size_t number);

    bench::load_socket socket;
    std::vector<leg> legs;
};

} // namespace vocalink::soak
