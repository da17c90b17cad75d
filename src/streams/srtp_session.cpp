// SPDX-License-Identifier: GPL-3.0-or-later
// One direction of SRTP (RFC 3711), by libsrtp.
#include "streams/srtp_session.hpp"

#include "streams/rtp_packet.hpp"

#include <algorithm>

namespace vocalink {

const char* srtp_error(srtp_err_status_t status) {
    static constexpr const char* texts[] = {
        "nothing to report",
        "unspecified failure",
        "unsupported parameter",
        "couldn't allocate memory",
        "couldn't deallocate properly",
        "couldn't initialize",
        "can't process as much data as requested",
        "authentication failure",
        "cipher failure",
        "replay check failed (bad index)",
        "replay check failed (index too old)",
        "algorithm failed test routine",
        "unsupported operation",
        "no appropriate context found",
        "unable to perform desired validation",
        "can't use key any more",
        "error in use of socket",
        "error in use POSIX signals",
        "nonce check failed",
        "couldn't read data",
        "couldn't write data",
        "error parsing data",
        "error encoding data",
        "error while using semaphores",
        "error while using pfkey",
    };
    const auto index = static_cast<std::size_t>(status);
    return index < std::size(texts) ? texts[index] : "unknown srtp_error";
}

srtp_session::srtp_session(srtp_ssrc_type_t direction,
                           std::span<const unsigned char, srtp_key_bytes> key_and_salt) {
    std::array<unsigned char, srtp_key_bytes> key;
    std::copy(key_and_salt.begin(), key_and_salt.end(), key.begin());
    srtp_policy_t policy{};
    srtp_crypto_policy_set_aes_cm_128_null_auth(&policy.rtp);
    srtp_crypto_policy_set_rtcp_default(&policy.rtcp);
    policy.ssrc.type = direction;
    policy.ssrc.value = 0;
    policy.key = key.data();
    srtp_t made = nullptr;
    creation_status = srtp_create(&made, &policy);
    if (creation_status == srtp_err_status_ok) {
        session.reset(made);
    }
}

srtp_err_status_t srtp_session::protect(char* packet, int& len) {
    note_source(packet, len);
    return srtp_protect(session.get(), packet, &len);
}

srtp_err_status_t srtp_session::unprotect(char* packet, int& len) {
    note_source(packet, len);
    return srtp_unprotect(session.get(), packet, &len);
}

/** Keeps count of the sources that libsrtp is about to hold a state for, and lets the oldest go. */
void srtp_session::note_source(const char* packet, int len) {
    if (len < rtp_header_bytes) {
        return;
    }
    const std::uint32_t source = rtp_packet::ssrc(packet);
    const std::size_t known = std::min(source_count, kept_sources);
    const auto end = sources.begin() + static_cast<std::ptrdiff_t>(known);
    if (std::find(sources.begin(), end, source) != end) {
        return;
    }
    std::uint32_t& place = sources[source_count % kept_sources];
    if (known == kept_sources) {
        srtp_remove_stream(session.get(), place);
    }
    place = source;
    source_count += 1;
}

} // namespace vocalink
