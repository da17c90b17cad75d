// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint's receive path: reading, classifying and decoding.
#include "streams/rtp_stream.hpp"
#include "util/log_line.hpp"

#include <cerrno>
#include <cstring>

#include <sys/socket.h>

namespace vocalink {

using util::log_line;

namespace {

// About what a usual receive buffer holds. The bound keeps a flood from holding up the loop.
constexpr int max_drained_packets = 512;

// No far end has as many; a flood has them all in a moment.
constexpr std::size_t most_logged_types = 20;

} // namespace

void rtp_stream::device_stream_callback() {
    sync_signal.emit(this);
}

int rtp_stream::read_incoming_rtp(char* buf, int len, bool drain) {
    alignas(16) char own_buffer[max_packet_bytes];
    const bool own = buf == nullptr;
    char* const packet = own ? own_buffer : buf;
    const int room = own ? max_packet_bytes : len;

    sockaddr_in sender{};
    int received = receive(packet, room, sender);
    if (received < 0) {
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
            counters.read_failures += 1;
        }
        return 0;
    }
    unprotect(packet, received);
    std::span<const std::uint8_t> audio = audio_packet_data(packet, received);
    if (drain) {
        received = drain_socket(packet, room, received, sender, audio);
    }
    note_reception(sender, received);
    if (audio.size() != static_cast<std::size_t>(frame_bytes)) {
        return 0;
    }
    if (own && decoder) {
        decoder->decode(audio, incoming.data());
    }
    return received;
}

/** Follows the sender and counts what it sent. */
void rtp_stream::note_reception(const sockaddr_in& sender, int received) {
    if (std::memcmp(&sender, &remote_addr, sizeof sender) != 0) {
        remote_addr = sender;
    }
    if (received > 0) {
        count_incoming(received);
    }
    update_jitter();
}

/** @return bytes received, or -1 with errno */
int rtp_stream::receive(char* packet, int room, sockaddr_in& sender) {
    socklen_t length = sizeof sender;
    return static_cast<int>(::recvfrom(fd.get(), packet, static_cast<std::size_t>(room), 0,
                                       reinterpret_cast<sockaddr*>(&sender), &length));
}

/** Classifies all packets that wait and keeps the last one. @return its length */
int rtp_stream::drain_socket(char* packet, int room, int received, sockaddr_in& sender,
                             std::span<const std::uint8_t>& audio) {
    int count = 1;
    while (count < max_drained_packets) {
        const int next = receive(packet, room, sender);
        if (next < 0) {
            break;
        }
        unprotect_drained(packet, received, next);
        received = next;
        audio = audio_packet_data(packet, received);
        count += 1;
    }
    if (count > 1) {
        log_line() << "-- stream (" << id << "): read " << count << " packets";
    }
    return received;
}

/** Unprotects a drained packet over the length of the packet before it. The bytes behind a shorter
 *  packet are zeroed first, so that none of the packet before is left.
 *  Deliberate: docs/behaviours.md#drained-encryption */
void rtp_stream::unprotect_drained(char* packet, int previous, int received) {
    if (!srtp) {
        return;
    }
    if (received < previous) {
        std::memset(packet + received, 0, static_cast<std::size_t>(previous - received));
    }
    unprotect(packet, previous);
}

/** Reports the keys and codes of a packet. @return its audio payload, empty for other packets */
std::span<const std::uint8_t> rtp_stream::audio_packet_data(char* packet, int len) {
    rtp_view view = measure_rtp(packet, len);
    view.payload_type = types.from_wire(view.payload_type);
    watch_for_code(packet, len);
    if (rtp_packet::is_rtp(packet, len)) {
        arrivals.count(view, is_audio_payload(view.payload_type), util::loop_now());
    }
    if (is_cut_event(view)) {
        return {};
    }
    const bool audio = !view.payload.empty() && classify(view);
    log_packet(pcap_in, packet, len, dir_in, audio);
    const bool lost = audio ? view.payload.size() != static_cast<std::size_t>(frame_bytes)
                            : !rtp_packet::is_rtp(packet, len);
    if (lost && len > 0) {
        count_unheard(view, len, audio);
    }
    if (!audio) {
        return {};
    }
    rtp_packet::set_payload_type(packet, view.payload_type); // it may be relayed
    return view.payload;
}

/** Whether the packet is a telephone event with a truncated payload. Such a packet is ignored. */
bool rtp_stream::is_cut_event(const rtp_view& view) {
    return is_event_payload(view.payload_type) && !view.payload.empty() &&
           view.payload.size() < event_payload_bytes;
}

/** Follows events and logs unknown payload types. @return whether the packet carries audio */
bool rtp_stream::classify(const rtp_view& view) {
    if (view.payload_type == PCMU) {
        return !keys.in_progress(); // the tone of a digit in progress is not audio
    }
    if (is_audio_payload(view.payload_type)) {
        return true;
    }
    if (is_event_payload(view.payload_type)) {
        handle_event(view);
        return false;
    }
    report_unknown_type(view.payload_type);
    return false;
}

void rtp_stream::report_unknown_type(int payload_type) {
    const auto bit = static_cast<std::size_t>(payload_type);
    if (logged_types.test(bit) || logged_types.count() >= most_logged_types) {
        suppressed_types += 1;
        return;
    }
    logged_types.set(bit);
    log_line() << "-- stream(" << id << ") got packet of unknown payload type " << payload_type;
}

/** Counts a packet that is received and not heard, and logs the first. One of an unknown type has
 *  been counted as that. */
void rtp_stream::count_unheard(const rtp_view& view, int len, bool audio) {
    if (view.payload.empty()) {
        no_rtp_packets += 1;
    } else if (audio) {
        wrong_size_packets += 1;
    }
    if (unheard.admit()) {
        report_unheard(view, len);
    }
}

void rtp_stream::report_unheard(const rtp_view& view, int len) {
    log_line told("stream", id);
    if (view.payload.empty()) {
        told << "got a packet of " << len << " bytes that is no RTP";
    } else {
        told << "got " << view.payload.size() << " bytes of payload type "
             << types.to_wire(view.payload_type);
    }
    told << ", takes " << frame_bytes << " of payload type " << types.to_wire(payload)
         << ". Further ones are counted";
}

} // namespace vocalink
