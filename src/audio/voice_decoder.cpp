// SPDX-License-Identifier: GPL-3.0-or-later
// Decoding of a conference member's packets, whatever codec each of them is in.
#include "audio/voice_decoder.hpp"

#include <algorithm>
#include <cassert>

namespace vocalink {

voice_decoder::voice_decoder(int ilbc_type, int ilbc_bytes) {
    for (const audio_codec& codec : audio_codecs()) {
        if (codec.payload != ILBC) {
            formats.push_back({codec.payload, &codec, nullptr});
        } else if (ilbc_type >= 0 && codec.frame_bytes == ilbc_bytes) {
            formats.push_back({ilbc_type, &codec, nullptr});
        }
    }
}

/** @return where the format of that type stands, formats.size() when it is not accepted */
std::size_t voice_decoder::index_of(int payload_type) const {
    const auto found = std::find_if(formats.begin(), formats.end(), [=](const format& each) {
        return each.payload_type == payload_type;
    });
    return static_cast<std::size_t>(found - formats.begin());
}

bool voice_decoder::accepts(int payload_type) const {
    return index_of(payload_type) < formats.size();
}

int voice_decoder::samples_in(int payload_type, std::size_t bytes) const {
    const std::size_t index = index_of(payload_type);
    return index < formats.size() ? formats[index].codec->samples_in(bytes) : 0;
}

int voice_decoder::decode(int payload_type, std::span<const std::uint8_t> payload,
                          std::span<std::int16_t> out) {
    const std::size_t index = index_of(payload_type);
    if (index == formats.size()) {
        return 0;
    }
    format& accepted = formats[index];
    const int samples = accepted.codec->samples_in(payload.size());
    if (samples == 0) {
        return 0;
    }
    assert(static_cast<std::size_t>(samples) <= out.size());
    if (!accepted.decoder) {
        accepted.decoder = accepted.codec->make_decoder();
    }
    if (!accepted.decoder) {
        return 0;
    }
    accepted.decoder->decode(payload, out.data());
    return samples;
}

int voice_decoder::conceal(int payload_type, std::span<std::int16_t, max_concealed_samples> out) {
    const std::size_t index = index_of(payload_type);
    const bool started = index < formats.size() && formats[index].decoder;
    return started ? formats[index].decoder->conceal(out.data()) : 0;
}

void voice_decoder::restart() {
    for (const format& each : formats) {
        if (each.decoder) {
            each.decoder->restart();
        }
    }
}

} // namespace vocalink
