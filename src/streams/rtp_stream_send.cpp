// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint's send path: own packets and relayed packets.
#include "streams/rtp_stream.hpp"
#include "util/log_line.hpp"

#include <cerrno>
#include <cstring>

#include <sys/socket.h>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

/** A header with its extension word, and a whole frame. */
constexpr int longest_sent_bytes = rtp_header_bytes + 4 + usual_frame_samples;

} // namespace

int rtp_stream::write_outgoing(const char* buf, int len) {
    const bool own = buf == nullptr;
    const char* pkt = own ? own_packet.data() : buf;
    const int available = own ? static_cast<int>(own_packet.size()) : len;

    const rtp_view view = measure_rtp(pkt, available);
    const bool audio = is_audio_payload(view.payload_type);
    const int need =
        view.header_bytes + (audio ? frame_bytes : event_payload_bytes) + view.padding_bytes;
    if (need > available) {
        report_size_mismatch(need, available);
        return 0;
    }
    if (own) {
        prepare_own_packet(audio);
    }
    alignas(4) char copy[longest_sent_bytes];
    return send_counted(changed_for_far_end(pkt, view, need, copy), need, audio);
}

/** Numbers an event and sets the far end's payload type. Changes a copy only, because other members
 *  may get the same packet.
 *  @return pkt when nothing had to change, otherwise copy */
const char* rtp_stream::changed_for_far_end(const char* pkt, const rtp_view& view, int len,
                                            char* copy) {
    const int wire_type = types.to_wire(view.payload_type);
    const bool event = is_event_payload(view.payload_type);
    if (!event && wire_type == view.payload_type) {
        return pkt;
    }
    std::memcpy(copy, pkt, static_cast<std::size_t>(len));
    if (event) {
        renumber_event(copy, view);
    }
    rtp_packet::set_payload_type(copy, wire_type);
    return copy;
}

/** Records, counts and sends a packet, protected if keys are set. */
int rtp_stream::send_counted(const char* pkt, int len, bool audio) {
    log_packet(pcap_out, pkt, len, dir_out, audio);
    last_rx_time = util::loop_now();
    counters.outgoing_packets += 1;
    return srtp ? send_protected(pkt, len) : send_packet(pkt, len);
}

void rtp_stream::report_size_mismatch(int need, int available) {
    // An empty packet has its own guard: the partner's reader has logged the reason.
    log_size_mismatch(available == 0 ? handed_nothing : size_mismatches, need, available);
}

void rtp_stream::prepare_own_packet(bool audio) {
    char* const header = own_packet.data();
    if (rtp_packet::timestamp(header) != 0) {
        rtp_packet::set_marker(header, false); // only the first packet has it
    }
    rtp_packet::set_timestamp(header, rtp_packet::timestamp(header) +
                                          static_cast<std::uint32_t>(frame_samples()));
    rtp_packet::set_sequence(header, static_cast<std::uint16_t>(rtp_packet::sequence(header) + 1));
    if (audio && encoder) {
        encoder->encode(outgoing.data(),
                        reinterpret_cast<std::uint8_t*>(header + rtp_header_bytes));
    }
}

/** Protects a copy. Other members may get the same packet, and an own packet keeps its payload. */
int rtp_stream::send_protected(const char* pkt, int len) {
    alignas(16) char copy[max_packet_bytes + SRTP_MAX_TRAILER_LEN];
    std::memcpy(copy, pkt, static_cast<std::size_t>(len));
    protect(copy, len);
    return send_packet(copy, len);
}

int rtp_stream::send_packet(const char* pkt, int len) {
    const auto sent = static_cast<int>(::sendto(fd.get(), pkt, static_cast<std::size_t>(len), 0,
                                                reinterpret_cast<const sockaddr*>(&remote_addr),
                                                sizeof remote_addr));
    if (sent >= 0) {
        counters.outgoing_bytes += sent;
        return sent;
    }
    const int error = errno;
    if (send_refusals.admit()) {
        log_line() << "The err no is" << error_text(error);
        log_line("stream", id) << "future send errors for stream will be suppressed";
    }
    if (error == EAGAIN || error == EWOULDBLOCK || error == EINTR) {
        // Deliberate: docs/behaviours.md#full-socket
        counters.outgoing_bytes += sent;
        return sent;
    }
    counters.write_failures += 1;
    return 0;
}

} // namespace vocalink
