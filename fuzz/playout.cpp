// SPDX-License-Identifier: GPL-3.0-or-later
// The playout buffer under packets of any order, time and content.
//
// Input: a byte for iLBC, then steps.
#include "audio/playout_buffer.hpp"
#include "support/input.hpp"

#include <algorithm>
#include <array>
#include <cassert>

using namespace vocalink;

namespace {

constexpr int types[] = {0, 8, 9, 18, 109, 13, 96};
constexpr std::size_t lengths[] = {160, 80, 20, 10, 12, 38, 50, 240, 480, 0, 1, 200};
constexpr int most_delay_ms = 400; // what may wait encoded, and what is decoded

void play(playout_buffer& buffer, double now_s) {
    if (!buffer.play(now_s)) {
        assert(std::ranges::all_of(buffer.played(), [](auto sample) { return sample == 0; }));
    }
    const line_quality counted = buffer.counters();
    assert(counted.delay_ms >= 0 && counted.delay_ms <= most_delay_ms);
    assert(counted.jitter_ms >= 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const bool ilbc20 = in.byte() % 2 == 0;
    playout_buffer buffer(109, ilbc20 ? 38 : 50);
    double now_s = 1000;
    rtp_view packet;
    packet.ssrc = 1;
    std::array<std::uint8_t, 1600> payload;
    payload.fill(0x55);
    while (!in.empty()) {
        const std::uint8_t step = in.byte();
        now_s += (step & 0x0F) * 0.002;
        switch (step >> 4) {
        case 0:
            buffer.clear();
            break;
        case 1:
            buffer.pass_over(packet.ssrc, ++packet.sequence);
            break;
        case 2:
            now_s += in.byte() * 0.1;
            break;
        case 3: // anything
            packet.payload_type = in.one_of(types);
            packet.sequence = in.number<std::uint16_t>();
            packet.timestamp = in.number<std::uint32_t>();
            packet.ssrc = in.byte();
            packet.marker = in.byte() % 2 == 0;
            packet.payload = in.bytes(in.number<std::uint16_t>() % 1600);
            buffer.put(packet, now_s);
            break;
        case 4:
        case 5: // the next one, or one near to it
            packet.payload_type = in.one_of(types);
            packet.sequence =
                static_cast<std::uint16_t>(packet.sequence + in.number<std::int8_t>());
            packet.timestamp += static_cast<std::uint32_t>(in.number<std::int16_t>());
            packet.payload = std::span(payload).first(in.one_of(lengths));
            buffer.put(packet, now_s);
            break;
        case 6:
        case 7:
        case 8:
        case 9: // the next one
            packet.sequence += 1;
            packet.timestamp += 160;
            packet.payload_type = 0;
            packet.payload = std::span(payload).first(160);
            buffer.put(packet, now_s);
            break;
        default:
            now_s += 0.02;
            play(buffer, now_s);
        }
    }
    play(buffer, now_s);
    return 0;
}
