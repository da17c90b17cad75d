// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint's encryption: keys, and the packets in both directions.
#include "base/exceptions.hpp"
#include "streams/rtp_stream.hpp"
#include "util/log_line.hpp"

#include <span>

namespace vocalink {

using util::log_line;

void rtp_stream::set_stream_encryption(const unsigned char* send_key,
                                       const unsigned char* recv_key) {
    using key_bytes = std::span<const unsigned char, srtp_key_bytes>;
    srtp_session sending(ssrc_any_outbound, key_bytes(send_key, srtp_key_bytes));
    if (!sending.is_open()) {
        log_line() << "-- stream (" << id << "): could not create srtp send session, result is "
                   << int{sending.status()} << " " << srtp_error(sending.status());
        throw stream_exception("could not create srtp send session");
    }
    srtp_session receiving(ssrc_any_inbound, key_bytes(recv_key, srtp_key_bytes));
    if (!receiving.is_open()) {
        log_line() << "stream (" << id << "): could not create srtp receive session, result is "
                   << srtp_error(receiving.status());
        throw stream_exception("could not create srtp receive session");
    }
    sending.keep(rtp_packet::ssrc(own_packet.data()));
    srtp = std::make_unique<srtp_sessions>(srtp_sessions{std::move(sending), std::move(receiving)});
}

void rtp_stream::forget_source(std::uint32_t ssrc) {
    if (srtp) {
        srtp->send.forget(ssrc);
    }
}

/** Unprotects a received packet in place, if keys are set. A failure is counted and leaves the
 *  packet as it is. Deliberate: docs/behaviours.md#failed-encryption
 *  @param len  bytes in and out
 *  @return false for a failure */
bool rtp_stream::unprotect(char* packet, int& len) {
    if (!srtp) {
        return true;
    }
    const srtp_err_status_t status = srtp->recv.unprotect(packet, len);
    if (status == srtp_err_status_ok) {
        return true;
    }
    if (decrypt_failures == 0) {
        log_line("stream", id) << "srtp decrypt failed: " << srtp_error(status);
        log_line("stream", id) << "future decryption failures for stream will be supressed";
    }
    decrypt_failures += 1;
    return false;
}

/** Protects a packet to be sent, in place. A failure is counted and leaves the packet in clear.
 *  Deliberate: docs/behaviours.md#failed-encryption
 *  @param len  bytes in and out */
void rtp_stream::protect(char* packet, int& len) {
    const srtp_err_status_t status = srtp->send.protect(packet, len);
    if (status == srtp_err_status_ok) {
        return;
    }
    if (encrypt_failures == 0) {
        log_line("stream", id) << "srtp encryption failed: " << srtp_error(status);
        log_line("stream", id) << "future encryption failures for stream will be supressed";
    }
    encrypt_failures += 1;
}

} // namespace vocalink
