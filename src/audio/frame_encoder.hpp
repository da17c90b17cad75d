// SPDX-License-Identifier: GPL-3.0-or-later
// Encoding of a stream's frames.
#pragma once

#include "rtp/rtp_payload.hpp"
#include "util/c_handle.hpp"

extern "C" {
#include <bcg729/encoder.h>
}
#include VOCALINK_ILBC_HEADER

namespace vocalink {

using g729_encoder_ptr =
    util::c_handle<bcg729EncoderChannelContextStruct, closeBcg729EncoderChannel>;
using ilbc_encoder_ptr = util::c_handle<IlbcEncoderInstance, WebRtcIlbcfix_EncoderFree>;

/** The encoder of one stream. A state, several kilobytes, is made only for the codecs that have
 *  one: G.729 and iLBC. Belongs to its stream; loop thread only. */
class frame_encoder {
  public:
    /** @param frame_bytes  encoded bytes per packet; 50 selects the 30 ms mode of iLBC
     *  @throws stream_exception when a state cannot be made */
    frame_encoder(rtp_payload payload, int frame_bytes);

    /** Encodes one frame, 160 samples or 240 in the 30 ms mode, into frame_bytes bytes. A-law and
     *  G.722 are not encoded: the payload stays as it is. */
    void encode(const short* samples, char* encoded);

  private:
    const rtp_payload payload;
    const int frame_bytes;
    g729_encoder_ptr g729_encoder;
    ilbc_encoder_ptr ilbc_encoder;
};

/** The byte that fills the payload of a codec that is not encoded; it decodes to silence. */
[[nodiscard]] char idle_payload_byte(rtp_payload payload);

} // namespace vocalink
