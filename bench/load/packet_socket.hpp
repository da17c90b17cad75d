// SPDX-License-Identifier: GPL-3.0-or-later
// The one UDP socket from which all legs of a load send and to which all of them listen.
#pragma once

#include "util/unique_fd.hpp"

#include <array>
#include <cstdint>
#include <span>

#include <netinet/in.h>
#include <sys/socket.h>

namespace vocalink::bench {

constexpr std::size_t rtp_header_bytes = 12;
constexpr std::size_t pcmu_payload_bytes = 160;
constexpr std::size_t packet_bytes = rtp_header_bytes + pcmu_payload_bytes;

/** One PCMU packet of 20 ms as it lies on the wire. */
using packet = std::array<std::uint8_t, packet_bytes>;

/** 127.0.0.1 and a port in host order. */
[[nodiscard]] sockaddr_in loopback_address(std::uint16_t port);

/** A version 2 PCMU packet with this sequence number; the payload is left alone. */
void write_rtp_header(packet& out, std::uint16_t sequence, std::uint32_t ssrc);

/** A non-blocking UDP socket on 127.0.0.1 that sends and receives in batches, so that the load
 *  costs far less than what is measured. A server that answers whoever sent last can have all its
 *  legs on this one socket; replies are told apart by the port they come from. */
class packet_socket {
  public:
    packet_socket();
    packet_socket(const packet_socket&) = delete;
    packet_socket& operator=(const packet_socket&) = delete;

    [[nodiscard]] const sockaddr_in& address() const { return local; }

    /** A packet of the next batch, to be filled by the caller before flush(). When full() is true,
     *  flush() must come first. */
    packet& add(std::uint16_t to_port);
    [[nodiscard]] bool full() const { return pending == batch; }

    /** Sends what was added. */
    void flush();

    /** Receives at most one batch without waiting and calls each(bytes, from_port) per packet.
     *  @return the number of packets */
    template <class Each>
    std::size_t receive(Each&& each) {
        const std::size_t count = receive_batch();
        for (std::size_t i = 0; i < count; ++i) {
            each(std::span<const std::uint8_t>(in_bytes[i].data(), in[i].msg_len),
                 ntohs(in_from[i].sin_port));
        }
        return count;
    }

    /** Throws away what still waits, of a round that is over. */
    void discard_waiting();

  private:
    static constexpr std::size_t batch = 32;
    static constexpr std::size_t in_buffer_bytes = 256;

    [[nodiscard]] std::size_t receive_batch();

    util::unique_fd fd;
    sockaddr_in local{};
    std::size_t pending = 0; // packets added since the last flush

    std::array<packet, batch> out_bytes{};
    std::array<sockaddr_in, batch> out_to{};
    std::array<iovec, batch> out_pieces{};
    std::array<mmsghdr, batch> out{};

    std::array<std::array<std::uint8_t, in_buffer_bytes>, batch> in_bytes{};
    std::array<sockaddr_in, batch> in_from{};
    std::array<iovec, batch> in_pieces{};
    std::array<mmsghdr, batch> in{};
};

} // namespace vocalink::bench
