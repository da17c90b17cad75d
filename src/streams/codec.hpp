// SPDX-License-Identifier: GPL-3.0-or-later
// The codec states of one stream, and the encoding and decoding of its frames.
#pragma once

#include "streams/rtp_payload.hpp"
#include "util/c_handle.hpp"

extern "C" {
#include <bcg729/decoder.h>
#include <bcg729/encoder.h>
}
#include VOCALINK_ILBC_HEADER

namespace vocalink {

using g729_encoder_ptr =
    util::c_handle<bcg729EncoderChannelContextStruct, closeBcg729EncoderChannel>;
using g729_decoder_ptr =
    util::c_handle<bcg729DecoderChannelContextStruct, closeBcg729DecoderChannel>;
using ilbc_encoder_ptr = util::c_handle<IlbcEncoderInstance, WebRtcIlbcfix_EncoderFree>;
using ilbc_decoder_ptr = util::c_handle<IlbcDecoderInstance, WebRtcIlbcfix_DecoderFree>;

/** Encoder and decoder of one stream. The states, several kilobytes each, are made only for the
 *  codecs that need them: G.729 and iLBC. Belongs to its stream; loop thread only. */
class codec {
  public:
    /** @param frame_bytes  encoded bytes per packet; 50 selects the 30 ms mode of iLBC
     *  @throws stream_exception when a state cannot be made */
    codec(rtp_payload payload, int frame_bytes);

    /** Encodes one frame, 160 samples or 240 in the 30 ms mode, into frame_bytes bytes. A-law and
     *  G.722 are not encoded: the payload stays as it is. */
    void encode(const short* samples, char* encoded);

    /** Decodes a packet's two G.729 frames, 20 bytes, into 160 samples. */
    void decode_g729(const char* encoded, short* samples);

    /** Decodes one iLBC frame, 38 or 50 bytes, into 160 or 240 samples. */
    void decode_ilbc(const char* encoded, short* samples);

  private:
    const rtp_payload payload;
    const int frame_bytes;
    g729_encoder_ptr g729_encoder;
    g729_decoder_ptr g729_decoder;
    ilbc_encoder_ptr ilbc_encoder;
    ilbc_decoder_ptr ilbc_decoder;
};

/** The byte that fills the payload of a codec that is not encoded; it decodes to silence. */
[[nodiscard]] char idle_payload_byte(rtp_payload payload);

} // namespace vocalink
