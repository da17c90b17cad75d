// SPDX-License-Identifier: GPL-3.0-or-later
// Announcements of a stream on the local network (SAP, RFC 2974).
#include "rtp/sap_announcer.hpp"

#include "base/exceptions.hpp"
#include "util/log_line.hpp"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/uio.h>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

constexpr double announce_period_s = 5.0;
constexpr std::uint32_t sap_group = 0xE0000038; // 224.0.0.56
constexpr std::uint16_t sap_port = 9875;
constexpr std::uint32_t ntp_epoch_s = 2208988800; // Unix epoch in NTP seconds

constexpr std::uint32_t announcement_word = 0x20000000; // SAP version 1, IPv4
constexpr std::uint32_t deletion_word = 0x24000000;

sockaddr_in ipv4_address(std::uint32_t ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(ip);
    address.sin_port = htons(port);
    return address;
}

/** Lets this host hear what is multicast on a socket. @return false with errno */
bool enable_multicast_loopback(int socket) {
    const int on = 1;
    return ::setsockopt(socket, IPPROTO_IP, IP_MULTICAST_LOOP, &on, sizeof on) == 0;
}

iovec part(const void* bytes, std::size_t length) {
    return {const_cast<void*>(bytes), length};
}

} // namespace

std::string sap_sdp_text(const sap_description& described, std::uint32_t ntp_seconds) {
    std::array<char, 512> text{};
    std::snprintf(text.data(), text.size(),
                  "v=0\no=vocalink %lu 0 IN %s %s\ns=%s\nc=IN %s %s\nt=%lu 0\na=recvonly\n"
                  "m=audio %u RTP/AVP %i\na=rtpmap:%i %s/%u\na=type:broadcast\n",
                  static_cast<unsigned long>(described.session_id), "IP4",
                  described.local_ip.c_str(), described.name.c_str(), "IP4",
                  described.remote_ip.c_str(), static_cast<unsigned long>(ntp_seconds),
                  described.remote_port, described.payload_type, described.payload_type,
                  described.format_name, static_cast<unsigned>(described.clock_hz));
    return text.data();
}

sap_announcer::sap_announcer(std::string stream_id, util::unique_fd socket, int audio_socket,
                             const sap_description& described)
    : id(std::move(stream_id)), sap_socket(std::move(socket)),
      sap_msg_id_hash(static_cast<std::uint16_t>(static_cast<unsigned>(std::rand()) *
                                                 static_cast<unsigned>(std::rand()))),
      sap_sdp(
          sap_sdp_text(described, static_cast<std::uint32_t>(std::time(nullptr)) + ntp_epoch_s)) {
    log_line() << "stream(" << id << "): sending SAP announcements to 224.0.0.56:9875";
    const sockaddr_in any = ipv4_address(INADDR_ANY, 0);
    const sockaddr_in group = ipv4_address(sap_group, sap_port);
    if (::bind(sap_socket.get(), reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0) {
        refuse("could not bind SAP socket");
    }
    if (::connect(sap_socket.get(), reinterpret_cast<const sockaddr*>(&group), sizeof group) != 0) {
        refuse("could not connect SAP socket");
    }
    if (!enable_multicast_loopback(audio_socket) || !enable_multicast_loopback(sap_socket.get())) {
        refuse("could not enable multicast loopback");
    }
    sap_timer.set<sap_announcer, &sap_announcer::sap_announce>(this);
    sap_timer.start(0.0, announce_period_s);
}

void sap_announcer::say_goodbye() {
    log_line() << "stream(" << id << "): sending SAP goodbye to 224.0.0.56:9875";
    send_sap_announcement(true);
}

void sap_announcer::refuse(const char* what) {
    log_line("stream", id) << what << ": " << error_text(errno);
    throw stream_exception(what);
}

void sap_announcer::sap_announce(ev::timer&, int) {
    send_sap_announcement(false);
}

void sap_announcer::send_sap_announcement(bool goodbye) {
    sockaddr_in origin{};
    socklen_t length = sizeof origin;
    if (::getsockname(sap_socket.get(), reinterpret_cast<sockaddr*>(&origin), &length) != 0) {
        log_line() << "could not send SAP, getsockname failed: " << error_text(errno);
        return;
    }
    const std::uint32_t word =
        htonl((goodbye ? deletion_word : announcement_word) | sap_msg_id_hash);
    static constexpr char payload_type[] = "application/sdp"; // sent with its NUL
    std::array<iovec, 4> parts = {
        part(&word, sizeof word), part(&origin.sin_addr, sizeof origin.sin_addr),
        part(payload_type, sizeof payload_type), part(sap_sdp.data(), sap_sdp.size())};
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    if (::sendmsg(sap_socket.get(), &message, MSG_DONTWAIT) < 0) {
        log_line() << "sendmsg SAP failed: " << error_text(errno);
    }
}

} // namespace vocalink
