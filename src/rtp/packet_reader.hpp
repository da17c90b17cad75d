// SPDX-License-Identifier: GPL-3.0-or-later
// Reads what waits in a socket, several packets a system call.
#pragma once

#include "rtp/rtp_packet.hpp"

#include <array>
#include <cstddef>
#include <ctime>

#include <netinet/in.h>
#include <sys/socket.h>

namespace vocalink {

/** Reads the packets that wait in a socket, with their senders and the kernel's time stamps. One
 *  call also learns that no more are there, which a call for each packet would have to ask again.
 *  One reader serves any number of sockets in turn. Loop thread only. */
class packet_reader {
  public:
    /** More than a telephone sends in a tick of a conference, so that one call is enough. */
    static constexpr int at_once = 4;

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

    /** Reads from a non-blocking socket.
     *  @return packets read, or -1 with errno; fewer than at_once are all that waited */
    [[nodiscard]] int read(int socket);

    /** One of those that the last read() found. */
    [[nodiscard]] packet operator[](int index);

  private:
    struct slot {
        alignas(16) std::array<char, max_packet_bytes> bytes;
        sockaddr_in sender;
        iovec place;
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(timespec))> stamp;
    };

    [[nodiscard]] double waited_seconds(msghdr& message) const;

    std::array<slot, at_once> slots;
    std::array<mmsghdr, at_once> messages{};
    int used = at_once;   // messages whose lengths the last call changed
    double read_at_s = 0; // wall clock, as the kernel's stamps
};

} // namespace vocalink
