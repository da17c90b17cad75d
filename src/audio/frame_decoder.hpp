// SPDX-License-Identifier: GPL-3.0-or-later
// Decoding of received frames.
#pragma once

#include "rtp/rtp_payload.hpp"
#include "util/c_handle.hpp"

extern "C" {
#include <bcg729/decoder.h>
}
#include VOCALINK_ILBC_HEADER

namespace vocalink {

using g729_decoder_ptr =
    util::c_handle<bcg729DecoderChannelContextStruct, closeBcg729DecoderChannel>;
using ilbc_decoder_ptr = util::c_handle<IlbcDecoderInstance, WebRtcIlbcfix_DecoderFree>;

/** The decoder of one stream. A state, several kilobytes, is made only for the codecs that have
 *  one: G.729 and iLBC. Belongs to its stream; loop thread only. */
class frame_decoder {
  public:
    /** @param frame_bytes  encoded bytes per packet; 50 selects the 30 ms mode of iLBC
     *  @throws stream_exception when a state cannot be made */
    frame_decoder(rtp_payload payload, int frame_bytes);

    /** Decodes a packet's two G.729 frames, 20 bytes, into 160 samples. */
    void decode_g729(const char* encoded, short* samples);

    /** Decodes one iLBC frame, 38 or 50 bytes, into 160 or 240 samples. */
    void decode_ilbc(const char* encoded, short* samples);

  private:
    const int frame_bytes;
    g729_decoder_ptr g729_decoder;
    ilbc_decoder_ptr ilbc_decoder;
};

} // namespace vocalink
