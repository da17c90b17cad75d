// SPDX-License-Identifier: GPL-3.0-or-later
// Encoding of what a conference member hears, 20 ms at a time.
#pragma once

#include "audio/codec.hpp"
#include "audio/frame.hpp"

#include <array>
#include <cstdint>
#include <span>

namespace vocalink {

/** Encodes frames of 160 samples into packets of one codec. All codecs give a packet for each
 *  frame; iLBC in its 30 ms mode gives two packets for three frames. Belongs to one member; loop
 *  thread only; allocates only in its constructor. */
class voice_encoder {
  public:
    /** @param stream_payload  the codec
     *  @param stream_frame_bytes  encoded bytes per packet; 50 selects the 30 ms mode of iLBC
     *  @throws stream_exception when a state cannot be made */
    voice_encoder(rtp_payload stream_payload, int stream_frame_bytes);

    /** Encodes the next 20 ms.
     *  @return the payload of the packet that is due now, empty when none is; valid until the next
     *          call */
    [[nodiscard]] std::span<const std::uint8_t>
    encode(std::span<const std::int16_t, voice_frame_samples> frame);

    /** Samples of each packet, which is also the step of its timestamp: 160, or 240. */
    [[nodiscard]] int packet_samples() const;

  private:
    /** Two frames of 20 ms wait at most for a packet of 30 ms. */
    static constexpr int max_waiting_samples = 2 * voice_frame_samples;

    [[nodiscard]] std::span<const std::uint8_t> encode_packet(const std::int16_t* samples);

    const audio_codec& codec;
    const codec_encoder_ptr encoder;
    std::array<std::int16_t, max_waiting_samples> waiting{}; // samples of a packet not yet whole
    int waiting_samples = 0;
    std::array<std::uint8_t, voice_frame_samples> encoded{};
};

} // namespace vocalink
