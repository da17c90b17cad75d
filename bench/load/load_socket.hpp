// SPDX-License-Identifier: GPL-3.0-or-later
// The one UDP socket from which all legs of a load send and to which all of them listen.
#pragma once

#include "harness/rtp_peer.hpp"

#include <array>
#include <cstdint>
#include <span>

#include <sys/socket.h>

namespace vocalink::bench {

constexpr std::size_t payload_bytes = 160; // 20 ms of PCMU
constexpr std::size_t packet_bytes = harness::rtp_header_bytes + payload_bytes;

/** One PCMU packet as it lies on the wire. */
using packet = std::array<std::uint8_t, packet_bytes>;

/** Sends and receives in batches, so that the load costs far less than what is measured. A server
 *  that answers whoever sent last can have all its legs on this one socket; replies are told apart
 *  by the port they come from. */
class load_socket {
  public:
    load_socket();
    load_socket(const load_socket&) = delete;

    [[nodiscard]] std::uint16_t port() const { return peer.port(); }

    /** A packet of the next batch, to be filled by the caller before flush(). When full() is true,
     *  flush() must come first. */
    packet& add(std::uint16_t to_port);
    [[nodiscard]] bool full() const { return pending == batch; }

    /** Sends what was added. */
    void flush();

    /** Receives without waiting, until little is left, and calls each(bytes, from_port) per packet. */
    template <class Each>
    void receive(Each&& each) {
        for (std::size_t count = batch; count > batch / 2;) {
            count = receive_batch();
            for (std::size_t i = 0; i < count; ++i) {
                each(std::span<const std::uint8_t>(in_bytes[i].data(), in[i].msg_len),
                     ntohs(in_from[i].sin_port));
            }
        }
    }

  private:
    static constexpr std::size_t batch = 32;

    [[nodiscard]] std::size_t receive_batch();

    harness::rtp_peer peer;
    std::size_t pending = 0; // packets added since the last flush
    std::array<packet, batch> out_bytes{};
    std::array<sockaddr_in, batch> out_to{};
    std::array<iovec, batch> out_pieces{};
    std::array<mmsghdr, batch> out{};
    std::array<std::array<std::uint8_t, 256>, batch> in_bytes{};
    std::array<sockaddr_in, batch> in_from{};
    std::array<iovec, batch> in_pieces{};
    std::array<mmsghdr, batch> in{};
};

} // namespace vocalink::bench
