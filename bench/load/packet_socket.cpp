// SPDX-License-Identifier: GPL-3.0-or-later
// Batched sending and receiving for the load generators.
#include "load/packet_socket.hpp"

#include <cerrno>
#include <system_error>

#include <arpa/inet.h>

namespace vocalink::bench {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/** Room for a whole cycle of the largest conference, so that losses are never the generator's. */
void enlarge_buffer(int fd, int forced_option, int plain_option) {
    const int buffer_bytes = 64 << 20;
    if (setsockopt(fd, SOL_SOCKET, forced_option, &buffer_bytes, sizeof buffer_bytes) != 0) {
        // Without the privilege the system's limit has to do.
        setsockopt(fd, SOL_SOCKET, plain_option, &buffer_bytes, sizeof buffer_bytes);
    }
}

} // namespace

sockaddr_in loopback_address(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

void write_rtp_header(packet& out, std::uint16_t sequence, std::uint32_t ssrc) {
    const std::uint32_t timestamp = std::uint32_t{sequence} * pcmu_payload_bytes;
    out[0] = 0x80;
    out[1] = 0;
    out[2] = static_cast<std::uint8_t>(sequence >> 8);
    out[3] = static_cast<std::uint8_t>(sequence);
    for (int i = 0; i < 4; ++i) {
        out[4 + i] = static_cast<std::uint8_t>(timestamp >> (24 - 8 * i));
        out[8 + i] = static_cast<std::uint8_t>(ssrc >> (24 - 8 * i));
    }
}

packet_socket::packet_socket()
    : fd(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)),
      local(loopback_address(0)) {
    socklen_t length = sizeof local;
    if (!fd || bind(fd.get(), reinterpret_cast<const sockaddr*>(&local), length) != 0 ||
        getsockname(fd.get(), reinterpret_cast<sockaddr*>(&local), &length) != 0) {
        fail("generator socket");
    }
    enlarge_buffer(fd.get(), SO_RCVBUFFORCE, SO_RCVBUF);
    enlarge_buffer(fd.get(), SO_SNDBUFFORCE, SO_SNDBUF);

    for (std::size_t i = 0; i < batch; ++i) {
        out_to[i] = loopback_address(0);
        out_pieces[i] = {out_bytes[i].data(), packet_bytes};
        out[i].msg_hdr = {&out_to[i], sizeof out_to[i], &out_pieces[i], 1, nullptr, 0, 0};
        in_pieces[i] = {in_bytes[i].data(), in_buffer_bytes};
        in[i].msg_hdr = {&in_from[i], sizeof in_from[i], &in_pieces[i], 1, nullptr, 0, 0};
    }
}

packet& packet_socket::add(std::uint16_t to_port) {
    out_to[pending].sin_port = htons(to_port);
    return out_bytes[pending++];
}

void packet_socket::flush() {
    std::size_t sent = 0;
    while (sent < pending) {
        const int count = sendmmsg(fd.get(), &out[sent], static_cast<unsigned>(pending - sent), 0);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
        } else if (errno != EAGAIN && errno != EINTR && errno != ENOBUFS) {
            fail("generator send");
        }
    }
    pending = 0;
}

std::size_t packet_socket::receive_batch() {
    const int count = recvmmsg(fd.get(), in.data(), batch, MSG_DONTWAIT, nullptr);
    if (count < 0 && errno != EAGAIN && errno != EINTR) {
        fail("generator receive");
    }
    return count < 0 ? 0 : static_cast<std::size_t>(count);
}

void packet_socket::discard_waiting() {
    while (receive_batch() != 0) {
    }
}

} // namespace vocalink::bench
