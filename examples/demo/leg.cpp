// SPDX-License-Identifier: GPL-3.0-or-later
// Speaking and hearing, packet by packet.
#include "leg.hpp"

#include <algorithm>
#include <random>
#include <utility>

namespace vocalink::demo {

namespace {

constexpr int event_payload_type = 101;
constexpr std::uint8_t event_volume = 10; ///< decibels below the reference, RFC 4733 2.3.3

} // namespace

leg::leg(std::string name, std::string encoding, sound sentence)
    : leg_name(std::move(name)), leg_encoding(std::move(encoding)), voice(std::move(sentence)),
      mouth(make_codec(leg_encoding)), monitor(make_codec(leg_encoding)),
      ear(make_codec(leg_encoding)), ssrc(std::random_device{}()) {
    const std::size_t frames = (voice.size() + frame_samples - 1) / frame_samples;
    voice.resize(frames * frame_samples);
}

void leg::speak() {
    frame samples{};
    if (next_frame < voice_frames()) {
        std::copy_n(&voice[next_frame * frame_samples], frame_samples, samples.begin());
        ++next_frame;
    }
    std::vector<std::uint8_t> payload(mouth->payload_bytes());
    mouth->encode(samples, payload);
    send(mouth->payload_type(), voice_sent == 0, payload);
    timestamp += frame_samples;
    ++voice_sent;
    monitor->decode(payload, samples);
    said_samples.insert(said_samples.end(), samples.begin(), samples.end());
}

void leg::send_event(int event, std::uint16_t duration, bool first, bool last) {
    const std::array payload{static_cast<std::uint8_t>(event),
                             static_cast<std::uint8_t>((last ? 0x80 : 0) | event_volume),
                             static_cast<std::uint8_t>(duration >> 8),
                             static_cast<std::uint8_t>(duration & 0xFF)};
    send(event_payload_type, first, payload);
    ++events_sent;
}

void leg::send(int payload_type, bool marker, std::span<const std::uint8_t> payload) {
    telephone.send_to(
        "127.0.0.1", remote_port,
        harness::rtp_packet_bytes(payload_type, ++sequence, timestamp, ssrc, payload, marker));
}

void leg::receive_waiting() {
    while (const auto packet = telephone.receive(harness::milliseconds::zero())) {
        hear(harness::parse_rtp(*packet));
    }
}

void leg::hear(const harness::rtp_view& packet) {
    if (packet.payload_type != ear->payload_type() ||
        packet.payload.size() != ear->payload_bytes()) {
        ++others_received;
        return;
    }
    ++voice_received;
    const int step =
        last_seq
            ? static_cast<std::int16_t>(static_cast<std::uint16_t>(packet.sequence - *last_seq))
            : 1;
    if (step <= 0) {
        return; // a packet that comes twice or late has lost its place
    }
    last_seq = packet.sequence;
    lost += step - 1;
    heard_samples.resize(heard_samples.size() + static_cast<std::size_t>(step - 1) * frame_samples);
    frame samples{};
    ear->decode(packet.payload, samples);
    heard_samples.insert(heard_samples.end(), samples.begin(), samples.end());
}

} // namespace vocalink::demo
