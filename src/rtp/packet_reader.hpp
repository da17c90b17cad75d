// SPDX-License-Identifier: GPL-3.0-or-later
// Reads packets from sockets, with the time that each has waited there.
#pragma once

#include "rtp/rtp_packet.hpp"

#include <array>
#include <cstddef>
#include <ctime>
#include <optional>

#include <netinet/in.h>
#include <sys/socket.h>

namespace vocalink {

/** Reads packets with their senders and the kernel's time stamps. One reader serves any number of
 *  sockets in turn. Loop thread only. */
class packet_reader {
  public:
    struct packet {
        char* bytes; // room for max_packet_bytes; the reader's own until the next read()
        int length;
        const sockaddr_in& sender;
        double waited_s; // in the socket, as far as stamps tell
    };

    packet_reader();
    packet_reader(const packet_reader&) = delete;
    packet_reader& operator=(const packet_reader&) = delete;

    /** Asks the kernel to stamp what that socket receives. Without stamps nothing has waited. */
    static void enable_stamps(int socket);

    /** Reads the next packet of a non-blocking socket. @return nothing, with errno, without one */
    [[nodiscard]] std::optional<packet> read(int socket);

  private:
    [[nodiscard]] double waited_seconds();

    alignas(16) std::array<char, max_packet_bytes> bytes;
    sockaddr_in sender{};
    iovec place{};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(timespec))> stamp;
    msghdr message{};
};

} // namespace vocalink
