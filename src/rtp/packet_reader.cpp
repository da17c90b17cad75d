// SPDX-License-Identifier: GPL-3.0-or-later
// Reads packets from sockets, with the time that each has waited there.
#include "rtp/packet_reader.hpp"

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
    place = {bytes.data(), bytes.size()};
    message.msg_name = &sender;
    message.msg_iov = &place;
    message.msg_iovlen = 1;
    message.msg_control = stamp.data();
}

void packet_reader::enable_stamps(int socket) {
    const int on = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
}

std::optional<packet_reader::packet> packet_reader::read(int socket) {
    message.msg_namelen = sizeof sender;
    message.msg_controllen = stamp.size();
    const auto length = static_cast<int>(::recvmsg(socket, &message, 0));
    if (length < 0) {
        return {};
    }
    return packet{bytes.data(), length, sender, waited_seconds()};
}

double packet_reader::waited_seconds() {
    for (const cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, const_cast<cmsghdr*>(part))) {
        if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_TIMESTAMPNS) {
            timespec stamped{};
            std::memcpy(&stamped, CMSG_DATA(part), sizeof stamped);
            const double waited_s = wall_seconds() - seconds(stamped);
            return waited_s >= 0.0 && waited_s <= longest_wait_s ? waited_s : 0.0;
        }
    }
    return 0.0;
}

} // namespace vocalink
