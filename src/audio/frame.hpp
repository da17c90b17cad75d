// SPDX-License-Identifier: GPL-3.0-or-later
// Frames of linear samples: their lengths, and one that takes memory only where it is used.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

namespace vocalink {

/** Everything runs at 8 kHz. */
inline constexpr int samples_per_ms = 8;
inline constexpr int samples_per_second = 1000 * samples_per_ms;

/** Samples of the longest frame, 30 ms, and of the usual one, 20 ms. */
inline constexpr int max_frame_samples = 240;
inline constexpr int usual_frame_samples = 160;
inline constexpr double usual_frame_s = 0.02;

/** Samples of one conference frame: 20 ms. */
inline constexpr int voice_frame_samples = 160;

/** Samples of the longest packet that a conference decodes: six iLBC frames of 30 ms. */
inline constexpr int max_voice_packet_samples = 1440;

/** A frame of linear samples that a mix reads or makes, zero at first. It takes memory when it is first
 *  used: streams that are only relayed need none. Loop thread only. */
class mixed_frame {
  public:
    using samples = std::array<std::int16_t, max_frame_samples>;

    [[nodiscard]] std::int16_t* data() { return made().data(); }
    [[nodiscard]] std::int16_t* begin() { return data(); }
    [[nodiscard]] std::int16_t* end() { return data() + max_frame_samples; }
    void clear() { made().fill(0); }

  private:
    samples& made() {
        if (!memory) {
            memory = std::make_unique<samples>();
        }
        return *memory;
    }

    std::unique_ptr<samples> memory;
};

} // namespace vocalink
