// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint in a conference: what its far end says.
#include "streams/rtp_conference.hpp"
#include "util/monotonic_time.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include <sys/socket.h>

namespace vocalink {

namespace {

// More than any telephone sends in a tick. The rest of a flood waits in the socket, which drops
// what it cannot hold.
constexpr int packets_per_tick = 64;

// What a receive buffer of the usual size holds.
constexpr int stale_rounds = 8;

// Older stamps than this mean that somebody has set the clock.
constexpr double oldest_arrival_s = 2.0;

double seconds(const timespec& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double wall_seconds() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return seconds(now);
}

/** Room for the one control message that is asked for. */
using control_buffer = std::array<char, CMSG_SPACE(sizeof(timespec))>;

/** How long a received message has waited in its socket. */
double waited_seconds(msghdr& message, double wall_now_s) {
    for (const cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, const_cast<cmsghdr*>(part))) {
        if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_TIMESTAMPNS) {
            timespec stamp{};
            std::memcpy(&stamp, CMSG_DATA(part), sizeof stamp);
            const double waited = wall_now_s - seconds(stamp);
            return waited >= 0.0 && waited <= oldest_arrival_s ? waited : 0.0;
        }
    }
    return 0.0;
}

int ilbc_type_of(const stream& member) {
    return member.payload == ILBC ? int{ILBC} : -1;
}

} // namespace

std::unique_ptr<conference_leg> rtp_stream::make_conference_leg() {
    return std::make_unique<leg>(*this);
}

rtp_stream::leg::leg(rtp_stream& stream)
    : owner(stream), playout(ilbc_type_of(stream), stream.frame_bytes),
      encoder(stream.payload, stream.frame_bytes),
      clock(rtp_packet::timestamp(stream.own_packet.data())), earlier(stream.line) {
    const int on = 1;
    // Without time stamps a packet counts as received when it is read.
    ::setsockopt(owner.fd.get(), SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
    discard_waiting();
}

/** Reads the packets that came while nobody listened. Reports their keys and codes, and drops their
 *  audio, which may be many seconds old. */
void rtp_stream::leg::discard_waiting() {
    for (int round = 0; round < stale_rounds; ++round) {
        if (receive_waiting(util::monotonic_seconds()) < packets_per_tick) {
            break;
        }
    }
    playout.clear();
}

const tick_frame* rtp_stream::leg::speak(double now_s) {
    receive_waiting(now_s);
    report(keys_in.expire(now_s));
    const bool audible = playout.play(said, now_s);
    note_line();
    return audible && !keys_in.pressed() ? &said : nullptr;
}

/** @return packets read */
int rtp_stream::leg::receive_waiting(double now_s) {
    const double wall_now_s = wall_seconds();
    alignas(16) char packet[max_packet_bytes];
    int count = 0;
    for (; count < packets_per_tick; ++count) {
        sockaddr_in sender{};
        alignas(cmsghdr) control_buffer control;
        iovec place{packet, sizeof packet};
        msghdr message{&sender, sizeof sender, &place, 1, control.data(), control.size(), 0};
        const auto received = static_cast<int>(::recvmsg(owner.fd.get(), &message, 0));
        if (received < 0) {
            if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
                owner.counters.read_failures += 1;
                continue; // an error of the far end's network; packets may wait behind it
            }
            break;
        }
        take_packet(packet, received, sender, now_s - waited_seconds(message, wall_now_s));
    }
    return count;
}

void rtp_stream::leg::take_packet(char* packet, int len, const sockaddr_in& sender,
                                  double arrival_s) {
    const bool readable = owner.unprotect(packet, len);
    auto view = readable ? parse_rtp(packet, len) : std::nullopt;
    if (!view) {
        owner.no_rtp_packets += readable ? 1 : 0; // the others count as failed decryptions
        owner.count_incoming(len);
        return;
    }
    owner.note_reception(sender, len);
    owner.watch_for_code(packet, len);
    view->payload_type = owner.types.from_wire(view->payload_type);
    const bool event = is_event_payload(view->payload_type);
    const bool audio = !event && playout.accepts(view->payload_type);
    owner.log_packet(owner.pcap_in, packet, len, dir_in, audio);
    if (audio) {
        take_audio(*view, arrival_s);
        return;
    }
    playout.pass_over(view->ssrc, view->sequence);
    if (event) {
        take_event(*view, arrival_s);
    } else {
        owner.report_unknown_type(view->payload_type);
    }
}

void rtp_stream::leg::take_audio(const rtp_view& view, double arrival_s) {
    const bool fits = playout.put(
        {view.payload_type, view.sequence, view.timestamp, view.ssrc, view.marker, view.payload},
        arrival_s);
    owner.wrong_size_packets += fits ? 0 : 1;
}

void rtp_stream::leg::take_event(const rtp_view& view, double arrival_s) {
    if (view.payload.size() < event_payload_bytes) {
        return;
    }
    report(
        keys_in.put({view.ssrc, view.timestamp, parse_telephone_event(view.payload)}, arrival_s));
}

void rtp_stream::leg::report(const key_receiver::changes& changes) {
    for (int i = 0; i < changes.count; ++i) {
        const key_receiver::change& change = changes.list[static_cast<std::size_t>(i)];
        if (change.down) {
            owner.notify_dtmf_start(change.event);
        } else {
            owner.notify_dtmf_end(change.event);
        }
    }
}

/** Adds the counts of this leg's playout buffer to those of earlier legs. */
void rtp_stream::leg::note_line() {
    const playout_counters& now = playout.counters();
    owner.line.lost = earlier.lost + now.lost;
    owner.line.late = earlier.late + now.late;
    owner.line.duplicate = earlier.duplicate + now.duplicate;
    owner.line.concealed_ms = earlier.concealed_ms + now.concealed_ms;
    owner.line.jitter_ms = now.jitter_ms;
    owner.line.delay_ms = now.delay_ms;
}

} // namespace vocalink
