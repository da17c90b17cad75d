// SPDX-License-Identifier: GPL-3.0-or-later
// One direction of SRTP (RFC 3711), by libsrtp.
#include "rtp/srtp_session.hpp"

#include "rtp/rtp_packet.hpp"

#include <algorithm>
#include <array>

namespace vocalink {

namespace {

/** A relayed packet that its sender repeats, or sends late, is protected like any other: refusing it
 *  would put it on the network in clear. The widest window that libsrtp has takes every number but
 *  the one 32,768 below the highest. */
void protect_repeated_and_late_packets(srtp_policy_t& policy) {
    policy.allow_repeat_tx = 1;
    policy.window_size = 0x7FFF;
}

} // namespace

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
    if (direction == ssrc_any_outbound) {
        protect_repeated_and_late_packets(policy);
    }
    srtp_t handle = nullptr;
    creation_status = srtp_create(&handle, &policy);
    if (creation_status == srtp_err_status_ok) {
        session.reset(handle);
    }
}

void srtp_session::forget(std::uint32_t source) {
    if (std::erase(sources, source) > 0) {
        srtp_remove_stream(session.get(), source);
    }
}

srtp_err_status_t srtp_session::protect(char* packet, int& len) {
    return run(srtp_protect, packet, len);
}

srtp_err_status_t srtp_session::unprotect(char* packet, int& len) {
    return run(srtp_unprotect, packet, len);
}

/** Runs a libsrtp operation, which makes a state for a source that it accepts for the first time.
 */
template <class Operation>
srtp_err_status_t srtp_session::run(Operation operation, char* packet, int& len) {
    if (len < rtp_header_bytes) {
        return operation(session.get(), packet, &len); // refuses it
    }
    const std::uint32_t source = rtp_packet::ssrc(packet);
    const srtp_err_status_t status = operation(session.get(), packet, &len);
    if (status == srtp_err_status_ok) {
        note_use(source);
    }
    return status;
}

/** Moves a source to the end. Most packets are of the source before, or of one used lately. */
void srtp_session::note_use(std::uint32_t source) {
    if (!sources.empty() && sources.back() == source) {
        return;
    }
    const auto found = std::find(sources.rbegin(), sources.rend(), source);
    if (found != sources.rend()) {
        std::rotate(found.base() - 1, found.base(), sources.end());
        return;
    }
    if (sources.size() >= max_sources) {
        make_room();
    }
    sources.push_back(source);
}

void srtp_session::make_room() {
    const auto unused_longest =
        std::find_if(sources.begin(), sources.end(),
                     [this](std::uint32_t source) { return source != lasting_source; });
    forget(*unused_longest);
}

} // namespace vocalink
