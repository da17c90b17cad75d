// SPDX-License-Identifier: GPL-3.0-or-later
// Detection of signalling tones.
#include "audio/tone_detector.hpp"

#include "base/exceptions.hpp"

namespace vocalink {

tone_detector::tone_detector(ToneType type) {
    constexpr int forward = 1;
    switch (type) {
    case BELLMF:
        bell_mf.reset(bell_mf_rx_init(nullptr, nullptr, nullptr));
        break;
    case R2MF:
        r2_mf.reset(r2_mf_rx_init(nullptr, forward, nullptr, nullptr));
        break;
    case DTMF:
        dtmf.reset(dtmf_rx_init(nullptr, nullptr, nullptr));
        break;
    }
    if (!bell_mf && !r2_mf && !dtmf) {
        throw stream_exception("Could not create tone detector");
    }
}

std::string_view tone_detector::detect(std::span<const std::int16_t> samples) {
    if (r2_mf) {
        return detect_r2(samples);
    }
    const int count = static_cast<int>(samples.size());
    const int room = static_cast<int>(digits.size()) - 1;
    std::size_t found = 0;
    if (bell_mf) {
        bell_mf_rx(bell_mf.get(), samples.data(), count);
        found = bell_mf_rx_get(bell_mf.get(), digits.data(), room);
    } else {
        dtmf_rx(dtmf.get(), samples.data(), count);
        found = dtmf_rx_get(dtmf.get(), digits.data(), room);
    }
    return {digits.data(), found};
}

/** R2 signals last as long as the other side wants: a digit counts once, when it begins. */
std::string_view tone_detector::detect_r2(std::span<const std::int16_t> samples) {
    r2_mf_rx(r2_mf.get(), samples.data(), static_cast<int>(samples.size()));
    const int present = r2_mf_rx_get(r2_mf.get());
    const bool begins = present != 0 && present != r2_digit;
    r2_digit = present;
    digits.front() = static_cast<char>(present);
    return {digits.data(), begins ? std::size_t{1} : std::size_t{0}};
}

} // namespace vocalink
