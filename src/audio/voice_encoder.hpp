// SPDX-License-Identifier: GPL-3.0-or-later
// Encoding of what a conference member hears, 20 ms at a time.
#pragma once

#include "audio/codec.hpp"
#include "audio/frame.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

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

    /** Bytes of the longest payload. */
    static constexpr std::size_t max_payload_bytes = 160;

    /** Encodes the next 20 ms.
     *  @param payload  of the packet that is due now
     *  @return its bytes, 0 when none is due */
    [[nodiscard]] std::size_t encode(std::span<const std::int16_t, voice_frame_samples> frame,
                                     std::span<std::uint8_t, max_payload_bytes> payload);

    /** Samples of each packet, which is also the step of its timestamp: 160, or 240. */
    [[nodiscard]] int packet_samples() const;

  private:
    /** Two frames of 20 ms wait at most for a packet of 30 ms. */
    static constexpr int max_waiting_samples = 2 * voice_frame_samples;

    const audio_codec& codec;
    const codec_encoder_ptr encoder;
    int waiting_samples = 0;
    std::vector<std::int16_t>
        waiting; // samples of a packet not yet whole, where packets are longer
};

} // namespace vocalink
