// SPDX-License-Identifier: GPL-3.0-or-later
// Decoding of a conference member's packets, whatever codec each of them is in.
#include "audio/voice_decoder.hpp"

#include <algorithm>
#include <cassert>

namespace vocalink {

namespace {

/** @return the format of that type, null when it is not accepted */
template <class Formats>
auto* find(Formats& formats, int payload_type) {
    auto* const end = formats.data() + formats.size();
    auto* const found = std::find_if(formats.data(), end, [=](const auto& each) {
        return each.codec != nullptr && each.payload_type == payload_type;
    });
    return found != end ? found : nullptr;
}

} // namespace

voice_decoder::voice_decoder(int ilbc_type, int ilbc_bytes) {
    format* next = formats.data();
    for (const audio_codec& codec : audio_codecs()) {
        if (codec.payload != ILBC) {
            *next++ = {codec.payload, &codec, nullptr};
        } else if (ilbc_type >= 0 && codec.frame_bytes == ilbc_bytes) {
            *next++ = {ilbc_type, &codec, nullptr};
        }
    }
}

bool voice_decoder::accepts(int payload_type) const {
    return find(formats, payload_type) != nullptr;
}

int voice_decoder::samples_in(int payload_type, std::size_t bytes) const {
    const format* const found = find(formats, payload_type);
    return found != nullptr ? found->codec->samples_in(bytes) : 0;
}

int voice_decoder::decode(int payload_type, std::span<const std::uint8_t> payload,
                          std::span<std::int16_t> out) {
    format* const found = find(formats, payload_type);
    const int samples = found != nullptr ? found->codec->samples_in(payload.size()) : 0;
    if (samples == 0) {
        return 0;
    }
    assert(static_cast<std::size_t>(samples) <= out.size());
    if (!found->decoder) {
        found->decoder = found->codec->make_decoder();
    }
    if (!found->decoder) {
        return 0;
    }
    found->decoder->decode(payload, out.data());
    return samples;
}

int voice_decoder::conceal(int payload_type, std::span<std::int16_t, max_concealed_samples> out) {
    const format* const found = find(formats, payload_type);
    const bool started = found != nullptr && found->decoder;
    return started ? found->decoder->conceal(out.data()) : 0;
}

void voice_decoder::restart() {
    for (const format& each : formats) {
        if (each.decoder) {
            each.decoder->restart();
        }
    }
}

} // namespace vocalink
