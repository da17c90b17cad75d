// SPDX-License-Identifier: GPL-3.0-or-later
// Batched sending and receiving for the load generator.
#include "load/load_socket.hpp"

#include <cerrno>

namespace vocalink::bench {

load_socket::load_socket() {
    // Room for a whole cycle of the largest conference, so that losses are never the generator's.
    const int buffer_bytes = 64 << 20;
    // Without the privilege that the second of each needs, the system's limit has to do.
    for (const int option : {SO_RCVBUF, SO_RCVBUFFORCE, SO_SNDBUF, SO_SNDBUFFORCE}) {
        setsockopt(peer.fd(), SOL_SOCKET, option, &buffer_bytes, sizeof buffer_bytes);
    }
    for (std::size_t i = 0; i < batch; ++i) {
        out_to[i] = harness::socket_address(peer.ip(), 0);
        out_pieces[i] = {out_bytes[i].data(), out_bytes[i].size()};
        out[i].msg_hdr = {&out_to[i], sizeof out_to[i], &out_pieces[i], 1, nullptr, 0, 0};
        in_pieces[i] = {in_bytes[i].data(), in_bytes[i].size()};
        in[i].msg_hdr = {&in_from[i], sizeof in_from[i], &in_pieces[i], 1, nullptr, 0, 0};
    }
}

packet& load_socket::add(std::uint16_t to_port) {
    out_to[pending].sin_port = htons(to_port);
    return out_bytes[pending++];
}

void load_socket::flush() {
    for (std::size_t sent = 0; sent < pending;) {
        const int count = sendmmsg(peer.fd(), &out[sent], static_cast<unsigned>(pending - sent), 0);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
        } else if (errno != EAGAIN && errno != EINTR && errno != ENOBUFS) {
            harness::throw_system_error("the generator cannot send");
        }
    }
    pending = 0;
}

std::size_t load_socket::receive_batch() {
    const int count = recvmmsg(peer.fd(), in.data(), batch, MSG_DONTWAIT, nullptr);
    if (count < 0 && errno != EAGAIN && errno != EINTR) {
        harness::throw_system_error("the generator cannot receive");
    }
    return count < 0 ? 0 : static_cast<std::size_t>(count);
}

} // namespace vocalink::bench
