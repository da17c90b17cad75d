// SPDX-License-Identifier: GPL-3.0-or-later
// Announcements of a stream on the local network (SAP, RFC 2974).
#pragma once

#include "util/event_loop.hpp"
#include "util/unique_fd.hpp"

#include <cstdint>
#include <string>

namespace vocalink {

/** What an announcement says of a stream, all as text or in host order. */
struct sap_description {
    std::uint32_t session_id; // the stream's SSRC
    std::string name;
    std::string local_ip;
    std::string remote_ip; // the multicast group that the audio goes to
    unsigned remote_port;
    int payload_type;
    const char* format_name; // registered name of the codec
    int clock_hz;            // of its timestamps
};

/** The session description (SDP, RFC 4566), cut to 511 bytes.
 *  @param ntp_seconds  start of the session */
[[nodiscard]] std::string sap_sdp_text(const sap_description& described, std::uint32_t ntp_seconds);

/** Multicasts a description to 224.0.0.56:9875 at once and every five seconds. Belongs to its stream;
 *  loop thread only. */
class sap_announcer {
  public:
    /** @param stream_id  for log lines
     *  @param socket  a new UDP socket, taken over
     *  @param audio_socket  the stream's own, which is to be heard on this host too
     *  @throws stream_exception when the socket cannot be used for it */
    sap_announcer(std::string stream_id, util::unique_fd socket, int audio_socket,
                  const sap_description& described);
    sap_announcer(const sap_announcer&) = delete;
    sap_announcer& operator=(const sap_announcer&) = delete;
    ~sap_announcer() = default;

    /** Sends the deletion. */
    void say_goodbye();

  private:
    void sap_announce(ev::timer& timer, int events);
    void send_sap_announcement(bool goodbye);
    [[noreturn]] void refuse(const char* what);

    const std::string id;
    util::unique_fd sap_socket;
    std::uint16_t sap_msg_id_hash;
    std::string sap_sdp;
    ev::timer sap_timer;
};

} // namespace vocalink
