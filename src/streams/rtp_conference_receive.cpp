// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint in a conference: what its far end says.
#include "streams/rtp_conference.hpp"
#include "util/monotonic_time.hpp"

#include <algorithm>
#include <cerrno>

namespace vocalink {

namespace {

// More than any telephone sends in a tick. The rest of a flood waits in the socket, which drops
// what it cannot hold.
constexpr int packets_per_tick = 64;

// What a receive buffer of the usual size holds.
constexpr int stale_rounds = 8;

packet_reader& reader() {
    static packet_reader shared;
    return shared;
}

int ilbc_type_of(const stream& member) {
    return member.payload == ILBC ? int{ILBC} : -1;
}

} // namespace

std::unique_ptr<conference_leg> rtp_stream::make_conference_leg() {
    return std::make_unique<leg>(*this);
}

rtp_stream::leg::leg(rtp_stream& stream)
    : owner(stream), clock(rtp_packet::timestamp(stream.own_packet.data())),
      encoder(stream.payload, stream.frame_bytes),
      playout(ilbc_type_of(stream), stream.frame_bytes), earlier(stream.line) {
    owner.conference_part = this;
    owner.arrivals.forget();
    packet_reader::enable_stamps(owner.fd.get());
    discard_waiting();
}

rtp_stream::leg::~leg() {
    if (!stream_ended) {
        owner.line = line();
        owner.conference_part = nullptr;
    }
}

line_quality rtp_stream::leg::line() const {
    line_quality whole = playout.counters();
    whole += earlier;
    return whole;
}

/** Reads the packets that came while nobody listened. Reports their keys and codes, and drops their
 *  audio, which may be many seconds old. */
void rtp_stream::leg::discard_waiting() {
    for (int round = 0; round < stale_rounds; ++round) {
        if (receive_waiting(util::monotonic_seconds(), asking::for_all) < packets_per_tick) {
            break;
        }
    }
    playout.clear();
}

std::optional<tick_view> rtp_stream::leg::speak(double now_s) {
    receive_waiting(now_s, asking::for_a_tick);
    if (keys_in.pressed()) {
        report(keys_in.expire(now_s));
    }
    const bool audible = playout.play(now_s);
    return audible && !keys_in.pressed() ? std::optional(playout.played()) : std::nullopt;
}

/** @return packets read */
int rtp_stream::leg::receive_waiting(double now_s, asking how) {
    int count = 0;
    while (count < packets_per_tick) {
        if (const auto packet = reader().read(owner.fd.get())) {
            take_packet(*packet, now_s);
            count += 1;
            if (how == asking::for_a_tick && is_enough(*packet)) {
                break;
            }
        } else if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) {
            break;
        } else {
            owner.counters.read_failures += 1;
            count += 1; // an error of the far end's network; packets may wait behind it
        }
    }
    return count;
}

/** Whether the socket need not be asked for more after a packet. A telephone sends one a tick, and
 *  asking in vain costs a third of reading it. What waits behind a packet that came in this tick is
 *  read in the next, unless the audio of this one is missing still. */
bool rtp_stream::leg::is_enough(const packet_reader::packet& packet) const {
    return packet.waited_s < usual_frame_s && playout.has_next_frame();
}

void rtp_stream::leg::take_packet(const packet_reader::packet& packet, double now_s) {
    int len = packet.length;
    const bool readable = owner.unprotect(packet.bytes, len);
    auto view = readable ? parse_rtp(packet.bytes, len) : std::nullopt;
    if (!view) {
        if (len > 0) {
            owner.no_rtp_packets += readable ? 1 : 0; // the others count as failed decryptions
            owner.count_incoming(len);
        }
        return;
    }
    owner.note_reception(packet.sender, len);
    owner.watch_for_code(packet.bytes, len);
    view->payload_type = owner.types.from_wire(view->payload_type);
    const bool event = is_event_payload(view->payload_type);
    const bool audio = !event && playout.accepts(view->payload_type);
    owner.log_packet(owner.pcap_in, packet.bytes, len, dir_in, audio, packet.waited_s);
    const double arrival_s = now_s - packet.waited_s;
    if (audio) {
        owner.wrong_size_packets += playout.put(*view, arrival_s) ? 0 : 1;
        return;
    }
    playout.pass_over(view->ssrc, view->sequence);
    if (event) {
        take_event(*view, arrival_s);
    } else {
        owner.report_unknown_type(view->payload_type);
    }
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

} // namespace vocalink
