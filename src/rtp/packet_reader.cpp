// SPDX-License-Identifier: GPL-3.0-or-later
// Reads what waits in a socket, several packets a system call.
#include "rtp/packet_reader.hpp"

#include <algorithm>
#include <cstring>

namespace vocalink {

namespace {

// Older stamps than this mean that somebody has set the clock.
constexpr double longest_wait_s = 2.0;

double seconds(const timespec& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double wall_seconds() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return seconds(now);
}

} // namespace

packet_reader::packet_reader() {
    for (std::size_t i = 0; i < slots.size(); ++i) {
        slot& room = slots[i];
        room.place = {room.bytes.data(), room.bytes.size()};
        msghdr& message = messages[i].msg_hdr;
        message.msg_name = &room.sender;
        message.msg_iov = &room.place;
        message.msg_iovlen = 1;
        message.msg_control = room.stamp.data();
    }
}

void packet_reader::enable_stamps(int socket) {
    const int on = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
}

int packet_reader::read(int socket) {
    for (int i = 0; i < used; ++i) {
        msghdr& message = messages[static_cast<std::size_t>(i)].msg_hdr;
        message.msg_namelen = sizeof(sockaddr_in);
        message.msg_controllen = sizeof(slot::stamp);
    }
    const int count = ::recvmmsg(socket, messages.data(), at_once, 0, nullptr);
    // The kernel writes the lengths of one message more when it finds the socket empty.
    used = std::min(std::max(count, 0) + 1, at_once);
    if (count > 0) {
        read_at_s = wall_seconds();
    }
    return count;
}

packet_reader::packet packet_reader::operator[](int index) {
    slot& room = slots[static_cast<std::size_t>(index)];
    mmsghdr& read = messages[static_cast<std::size_t>(index)];
    return {room.bytes.data(), static_cast<int>(read.msg_len), room.sender,
            waited_seconds(read.msg_hdr)};
}

double packet_reader::waited_seconds(msghdr& message) const {
    for (const cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, const_cast<cmsghdr*>(part))) {
        if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_TIMESTAMPNS) {
            timespec stamp{};
            std::memcpy(&stamp, CMSG_DATA(part), sizeof stamp);
            const double waited_s = read_at_s - seconds(stamp);
            return waited_s >= 0.0 && waited_s <= longest_wait_s ? waited_s : 0.0;
        }
    }
    return 0.0;
}

} // namespace vocalink
