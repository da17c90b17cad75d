// SPDX-License-Identifier: GPL-3.0-or-later
// Concealment of missing packets.
#include "audio/concealer.hpp"

#include "audio/codec.hpp"
#include "audio/frame.hpp"
#include "audio/g729_codec.hpp"

#include <algorithm>
#include <array>

namespace vocalink {

namespace {

constexpr int fade_begin = 60 * samples_per_ms;
constexpr int fade_end = 100 * samples_per_ms;
constexpr int comfort_noise_end = 500 * samples_per_ms;

/** A beginning after a gap that has faded is led in over 5 ms. */
constexpr int lead_in = 5 * samples_per_ms;

} // namespace

concealer::concealer() {
    plc_init(plc.get());
}

void concealer::heard(int payload_type, std::span<const std::uint8_t> payload,
                      std::span<std::int16_t> samples) {
    if (plc_fills) {
        plc_rx(plc.get(), samples.data(), static_cast<int>(samples.size()));
        plc_fills = false;
    }
    if (made_up >= fade_begin) {
        const int count = std::min(lead_in, static_cast<int>(samples.size()));
        for (int i = 0; i < count; ++i) {
            samples[i] = static_cast<std::int16_t>(samples[i] * (i + 1) / (count + 1));
        }
    }
    payload_type_heard = payload_type;
    comfort_noise =
        payload_type == G729 && payload.size() % g729_frame_bytes == g729_silence_description_bytes;
    made_up = 0;
}

int concealer::make_up(voice_decoder& decoder, playout_line& line, int samples) {
    // plc_fillin writes a quarter of a pitch period even where fewer samples are asked for.
    std::array<std::int16_t, voice_decoder::max_concealed_samples + PLC_PITCH_OVERLAP_MAX> frame;
    int standing_for_speech = 0;
    while (samples > 0) {
        if (silent()) {
            line.append_silence(samples);
            made_up = std::min(made_up + samples, comfort_noise_end);
            break;
        }
        int count = decoder.conceal(payload_type_heard,
                                    std::span(frame).first<voice_decoder::max_concealed_samples>());
        if (count == 0) {
            begin_fill(line);
            count = std::min(samples, voice_frame_samples);
            plc_fillin(plc.get(), frame.data(), count);
        }
        fade(std::span(frame).first(static_cast<std::size_t>(count)));
        line.append(std::span(frame).first(static_cast<std::size_t>(count)));
        made_up += count;
        samples -= count;
        standing_for_speech += comfort_noise ? 0 : count;
    }
    return standing_for_speech;
}

void concealer::begin_fill(const playout_line& line) {
    if (plc_fills) {
        return;
    }
    // The library puts its history in order with an overlapping memcpy, unless it gets a whole one.
    std::array<std::int16_t, playout_line::history_samples> history;
    static_assert(playout_line::history_samples >= PLC_HISTORY_LEN);
    line.copy_last(history);
    plc_init(plc.get());
    plc_rx(plc.get(), history.data(), static_cast<int>(history.size()));
    plc_fills = true;
}

bool concealer::silent() const {
    return payload_type_heard < 0 || made_up >= (comfort_noise ? comfort_noise_end : fade_end);
}

void concealer::fade(std::span<std::int16_t> samples) const {
    const int begin = comfort_noise ? comfort_noise_end - (fade_end - fade_begin) : fade_begin;
    int position = made_up - begin;
    for (std::int16_t& sample : samples) {
        const int rest = std::clamp(fade_end - fade_begin - position, 0, fade_end - fade_begin);
        sample = static_cast<std::int16_t>(sample * rest / (fade_end - fade_begin));
        ++position;
    }
}

} // namespace vocalink
