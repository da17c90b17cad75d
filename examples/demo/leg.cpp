// SPDX-License-Identifier: GPL-3.0-or-later
// Speaking and hearing, packet by packet.
#include "leg.hpp"

#include <algorithm>
#include <array>
#include <random>
#include <utility>

namespace vocalink::demo {

leg::leg(std::string who, std::string encoding_word, sound sentence)
    : name(std::move(who)), encoding(std::move(encoding_word)), settings(codec_of_word(encoding)),
      voice(std::move(sentence)), mouth(settings.payload, settings.frame_bytes),
      monitor(ILBC, settings.frame_bytes), ear(ILBC, settings.frame_bytes),
      ssrc(std::random_device{}()) {
    voice.resize((voice.size() + frame_samples - 1) / frame_samples * frame_samples);
}

void leg::speak() {
    sound frame(frame_samples);
    if (voice_sent < voice_frames()) {
        std::copy_n(&voice[voice_sent * frame_samples], frame_samples, frame.begin());
    }
    std::array<std::uint8_t, voice_encoder::max_payload_bytes> packet;
    const auto payload =
        std::span(packet).first(mouth.encode(std::span(frame).first<frame_samples>(), packet));
    send(settings.payload, voice_sent == 0, payload);
    timestamp += frame_samples;
    ++voice_sent;
    decode(monitor, payload, said);
}

void leg::send_event(int event, std::size_t duration, bool first, bool last) {
    constexpr int payload_type = 101;
    constexpr std::uint8_t volume = 10; // decibels below the reference, RFC 4733 2.3.3
    const std::array payload{
        static_cast<std::uint8_t>(event), static_cast<std::uint8_t>((last ? 0x80 : 0) | volume),
        static_cast<std::uint8_t>(duration >> 8), static_cast<std::uint8_t>(duration & 0xFF)};
    send(payload_type, first, payload);
}

void leg::send(int payload_type, bool marker, std::span<const std::uint8_t> payload) {
    telephone.send_to(
        telephone.ip(), daemon_port,
        harness::rtp_packet_bytes(payload_type, ++sequence, timestamp, ssrc, payload, marker));
}

void leg::receive_waiting() {
    while (const auto packet = telephone.receive(harness::milliseconds::zero())) {
        const harness::rtp_view view = harness::parse_rtp(*packet);
        if (view.payload_type != settings.payload) {
            ++others_received;
            continue;
        }
        ++voice_received;
        const auto step =
            static_cast<std::int16_t>(last_sequence ? view.sequence - *last_sequence : 1);
        if (step > 0) { // a packet that comes twice or late has lost its place
            last_sequence = view.sequence;
            lost += static_cast<std::size_t>(step - 1);
            heard.resize(heard.size() + static_cast<std::size_t>(step - 1) * frame_samples);
            decode(ear, view.payload, heard);
        }
    }
}

void leg::decode(voice_decoder& decoder, std::span<const std::uint8_t> payload, sound& to) const {
    std::array<std::int16_t, max_voice_packet_samples> samples{};
    const int count = decoder.decode(settings.payload, payload, samples);
    to.insert(to.end(), samples.begin(), samples.begin() + count);
}

} // namespace vocalink::demo
