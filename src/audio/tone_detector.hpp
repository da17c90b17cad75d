// SPDX-License-Identifier: GPL-3.0-or-later
// Detection of signalling tones.
#pragma once

#include "audio/tone_generator.hpp"
#include "util/c_handle.hpp"

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include <spandsp.h>

namespace vocalink {

using bell_mf_rx_ptr = util::c_handle<bell_mf_rx_state_t, bell_mf_rx_free>;
using r2_mf_rx_ptr = util::c_handle<r2_mf_rx_state_t, r2_mf_rx_free>;
using dtmf_rx_ptr = util::c_handle<dtmf_rx_state_t, dtmf_rx_free>;

/** Finds the digits of one signalling system in linear samples at 8 kHz. Belongs to its stream; loop
 *  thread only. */
class tone_detector {
  public:
    /** @throws stream_exception when the state cannot be made */
    explicit tone_detector(ToneType type);

    /** Looks at the next samples. @return the digits that were found; valid until the next call */
    [[nodiscard]] std::string_view detect(std::span<const std::int16_t> samples);

  private:
    [[nodiscard]] std::string_view detect_r2(std::span<const std::int16_t> samples);

    // The one of the type is set.
    bell_mf_rx_ptr bell_mf;
    r2_mf_rx_ptr r2_mf;
    dtmf_rx_ptr dtmf;
    int r2_digit = 0; // present in the samples before; 0 for none
    std::array<char, 128> digits{};
};

} // namespace vocalink
