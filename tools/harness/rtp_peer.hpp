// SPDX-License-Identifier: GPL-3.0-or-later
// A telephone's side of a call leg: a UDP socket that sends and receives RTP packets.
#pragma once

#include "harness/waiting.hpp"
#include "util/unique_fd.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <netinet/in.h>

namespace vocalink::harness {

inline constexpr std::size_t rtp_header_bytes = 12;

/** A bound UDP socket on the loopback network, non-blocking. */
class rtp_peer {
  public:
    /** @param port  0 for any that is free */
    explicit rtp_peer(const std::string& ip = "127.0.0.1", std::uint16_t port = 0);

    /** Sends one datagram of any length, 0 included.
     *  @throws std::runtime_error when the system refuses it */
    void send_to(const std::string& ip, std::uint16_t port, std::span<const std::uint8_t> bytes);

    /** The next datagram, whoever sent it; nothing when none comes in time. */
    std::optional<std::vector<std::uint8_t>> receive(milliseconds timeout = default_timeout);

    /** Waits the whole time for something not to happen.
     *  @return true when no datagram came; one that came is taken off the socket */
    [[nodiscard]] bool receive_nothing(milliseconds during) { return !receive(during); }

    [[nodiscard]] std::uint16_t port() const { return bound_port; }
    [[nodiscard]] const std::string& ip() const { return bound_ip; }
    [[nodiscard]] int fd() const { return socket.get(); }

  private:
    util::unique_fd socket;       ///< bound, non-blocking
    std::string bound_ip;         ///< dotted text
    std::uint16_t bound_port = 0; ///< host order
};

/** A received packet's fields in host order. The payload points into the packet given. */
struct rtp_view {
    int payload_type = 0;
    bool marker = false;
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0;
    std::span<const std::uint8_t> payload;
};

/** Reads the header of a packet without extension and contributing sources.
 *  @throws std::runtime_error when it is shorter than 12 bytes or not of version 2 */
[[nodiscard]] rtp_view parse_rtp(std::span<const std::uint8_t> packet);

/** Writes a header of version 2 without extension, padding and contributing sources. Numbers in host
 *  order. */
void write_rtp_header(std::span<std::uint8_t, rtp_header_bytes> out, int payload_type,
                      std::uint16_t sequence, std::uint32_t timestamp, std::uint32_t ssrc,
                      bool marker = false);

/** The bytes of one RTP packet, such a header and the payload. */
[[nodiscard]] std::vector<std::uint8_t>
rtp_packet_bytes(int payload_type, std::uint16_t sequence, std::uint32_t timestamp,
                 std::uint32_t ssrc, std::span<const std::uint8_t> payload, bool marker = false);

/** An IPv4 address and port for the socket calls. */
[[nodiscard]] sockaddr_in socket_address(const std::string& ip, std::uint16_t port);

} // namespace vocalink::harness
