// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint's construction, socket and end.
#include "base/config.hpp"
#include "base/exceptions.hpp"
#include "rtp/rtp_ports.hpp"
#include "streams/rtp_conference.hpp"
#include "util/inet_text.hpp"
#include "util/log_line.hpp"
#include "util/system_random.hpp"

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

/** What to try, in this order: the ports that the options name, then the usual ones. */
std::vector<rtp_ports>& local_ports() {
    static std::vector<rtp_ports> ranges = [] {
        std::vector<rtp_ports> all;
        if (const char* const named = config::instance().port_range; named != nullptr) {
            all.emplace_back(parse_port_range(named).value());
        }
        all.emplace_back(usual_ports);
        return all;
    }();
    return ranges;
}

held_ports held; // by all streams

const sockaddr* generic(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

} // namespace

rtp_stream::rtp_stream(std::string stream_id, std::string local_ip, std::string remote_ip,
                       int remote_port, std::string_view encoding)
    : stream(std::move(stream_id), encoding, kind_rtp),
      encoder(codec.hears_mix ? codec.new_encoder() : nullptr),
      decoder(codec.heard_in_mix ? codec.new_decoder() : nullptr) {
    local_addr.sin_family = AF_INET;
    remote_addr.sin_family = AF_INET;
    remote_addr.sin_port = htons(static_cast<std::uint16_t>(remote_port));
    if (!util::parse_ipv4(remote_ip, remote_addr.sin_addr)) {
        refuse_address("bad remote address " + remote_ip);
    }
    if (!util::parse_ipv4(local_ip, local_addr.sin_addr)) {
        refuse_address("could not bind socket: bad local address " + local_ip);
    }
    arm_timeout_timer();
    fd = new_udp_socket();
    own_packet.fill(static_cast<char>(codec.idle_byte));
    rtp_packet::init_header(own_packet.data(), payload, util::system_random());
    if (IN_MULTICAST(ntohl(remote_addr.sin_addr.s_addr))) {
        enable_sap();
    }
    bind_local();
    read_back_local_address();
    log_line("stream", id) << "fd " << fd.get() << " bound to " << util::endpoint_text(local_addr);
    if (payload == PCMU) {
        log_line() << "PCMU stream detected...";
    } else if (frame_samples() == max_frame_samples) {
        log_line() << "ILBC 30 ms time frame Initiation";
    }
    pcap_in = pkt_hdr_pcap(remote_addr, local_addr);
    pcap_out = pkt_hdr_pcap(local_addr, remote_addr);
    // Last, when nothing throws any more: the destructor gives it back.
    held.take(local_addr.sin_addr.s_addr, ntohs(local_addr.sin_port));
}

rtp_stream::~rtp_stream() {
    held.give_back(local_addr.sin_addr.s_addr, ntohs(local_addr.sin_port));
    rtp_stream::settle_figures();
    if (conference_part != nullptr) {
        conference_part->note_end_of_stream();
    }
    if (sap) {
        sap->say_goodbye();
    }
    if (encrypt_failures != 0 || decrypt_failures != 0) {
        log_line("stream", id) << "total srtp errors: " << encrypt_failures << " encrypt failures, "
                               << decrypt_failures << "unencrypt failures.";
    }
    log_suppressed(suppressed_types, "packets of unknown payload type");
    log_suppressed(unheard.suppressed(), "packets of another size than expected");
    log_suppressed(handed_nothing.suppressed(), "packets of a partner without audio");
    log_suppressed(size_mismatches.suppressed(), "packet size mismatches");
    log_suppressed(send_refusals.suppressed(), "send errors");
}

util::unique_fd rtp_stream::new_udp_socket() {
    util::unique_fd created(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!created) {
        throw stream_exception("Could not allocate socket");
    }
    const int flags = ::fcntl(created.get(), F_GETFL);
    if (flags < 0) {
        throw stream_exception("Could not fcntl(get) socket");
    }
    if (::fcntl(created.get(), F_SETFL, flags | O_NONBLOCK) < 0) {
        throw stream_exception("Could not fcntl(set) socket");
    }
    return created;
}

void rtp_stream::bind_local() {
    for (rtp_ports& ports : local_ports()) {
        if (bind_to_one_of(ports)) {
            return;
        }
    }
    throw stream_exception("No available UDP ports");
}

/** @return false when none of these ports is free */
bool rtp_stream::bind_to_one_of(rtp_ports& ports) {
    const int start = ports.next();
    do {
        const int port = ports.take();
        if (held.collide(local_addr.sin_addr.s_addr, port)) {
            continue;
        }
        local_addr.sin_port = htons(static_cast<std::uint16_t>(port));
        if (::bind(fd.get(), generic(local_addr), sizeof local_addr) == 0) {
            return true;
        }
        if (errno != EADDRINUSE && errno != EACCES) {
            // Not this port's fault but the address's: no other port would do.
            const int error = errno;
            ports.rewind(start);
            refuse_address("could not bind socket: " + error_text(error));
        }
    } while (ports.next() != start);
    return false;
}

void rtp_stream::refuse_address(const std::string& why) {
    log_line("stream", id) << why;
    throw stream_exception("No available UDP ports");
}

void rtp_stream::read_back_local_address() {
    socklen_t length = sizeof local_addr;
    if (::getsockname(fd.get(), reinterpret_cast<sockaddr*>(&local_addr), &length) < 0) {
        throw stream_exception("Could not getsockname");
    }
}

void rtp_stream::set_stream_endpoint(std::string ip, int port) {
    in_addr address{};
    if (!util::parse_ipv4(ip, address)) {
        throw stream_exception("invalid endpoint");
    }
    remote_addr.sin_addr = address;
    remote_addr.sin_port = htons(static_cast<std::uint16_t>(port));
}

void rtp_stream::enable_stream_loop() {
    packets.set<rtp_stream, &rtp_stream::device_stream_callback>(this);
    packets.start(fd.get());
    stream::enable_stream_loop();
}

void rtp_stream::disable_stream_loop() {
    packets.stop();
    stream::disable_stream_loop();
}

} // namespace vocalink
