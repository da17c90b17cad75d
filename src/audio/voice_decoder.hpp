// SPDX-License-Identifier: GPL-3.0-or-later
// Decoding of a conference member's packets, whatever codec each of them is in.
#pragma once

#include "audio/codec.hpp"
#include "audio/frame.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vocalink {

/** Decodes every codec to linear 8 kHz samples. Each packet may have a codec of its own. Only the
 *  first packet of a codec allocates, for the codec's state. Belongs to one member; loop thread only.
 */
class voice_decoder {
  public:
    /** Samples of the longest frame that conceal() makes. */
    static constexpr int max_concealed_samples = 240;

    /** @param ilbc_type  the payload type of iLBC, -1 where the stream has none
     *  @param ilbc_bytes  bytes of one iLBC frame, 38 (20 ms) or 50 (30 ms) */
    voice_decoder(int ilbc_type, int ilbc_bytes);

    /** Whether packets of that type can be decoded. */
    [[nodiscard]] bool accepts(int payload_type) const;

    /** The samples a payload holds, found from its length alone: 0 when the type is not accepted,
     *  when the payload is not whole frames, or when it is longer than 120 ms (G.711, G.722), 12
     *  frames (G.729) or 6 frames (iLBC). */
    [[nodiscard]] int samples_in(int payload_type, std::size_t bytes) const;

    /** Decodes a payload.
     *  @param out  room for samples_in() of it
     *  @return the samples written, those of samples_in(); 0 when the payload is refused or the
     *          codec's state cannot be made */
    [[nodiscard]] int decode(int payload_type, std::span<const std::uint8_t> payload,
                             std::span<std::int16_t> out);

    /** Lets G.729 or iLBC make up its next frame in place of one that is lost.
     *  @return the samples written; 0 for codecs that have no concealment of their own */
    [[nodiscard]] int conceal(int payload_type, std::span<std::int16_t, max_concealed_samples> out);

    /** Forgets what came before, where the codec can do so without a new state: another source
     *  speaks now. */
    void restart();

  private:
    /** What one payload type carries. */
    struct format {
        int payload_type = -1;
        const audio_codec* codec = nullptr;
        codec_decoder_ptr decoder; // from its first packet on
    };

    std::array<format, 5> formats; // µ-law, which most members speak, first
};

} // namespace vocalink
