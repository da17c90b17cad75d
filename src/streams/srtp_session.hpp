// SPDX-License-Identifier: GPL-3.0-or-later
// One direction of SRTP (RFC 3711), by libsrtp.
#pragma once

#include "util/c_handle.hpp"

#include <srtp2/srtp.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace vocalink {

/** Master key (16 bytes) and master salt (14 bytes), in this order. */
inline constexpr std::size_t srtp_key_bytes = 30;

/** The text of a libsrtp status, for log lines. */
[[nodiscard]] const char* srtp_error(srtp_err_status_t status);

using srtp_session_ptr = util::c_handle<std::remove_pointer_t<srtp_t>, srtp_dealloc>;

/** Protects or unprotects packets with AES-128 in counter mode and no authentication tag, so that
 *  packets keep their length. Any source is taken; the states of the latest 32 are kept, since a
 * peer can make up as many as it likes. Loop thread only. */
class srtp_session {
  public:
    /** Makes a session. is_open() tells whether that went well; if not, status() says why.
     *  @param direction  ssrc_any_outbound to protect, ssrc_any_inbound to unprotect */
    srtp_session(srtp_ssrc_type_t direction,
                 std::span<const unsigned char, srtp_key_bytes> key_and_salt);

    [[nodiscard]] bool is_open() const { return session != nullptr; }
    [[nodiscard]] srtp_err_status_t status() const { return creation_status; }

    /** Protects a packet in place. @param len  bytes in and out */
    [[nodiscard]] srtp_err_status_t protect(char* packet, int& len);
    /** Unprotects a packet in place. @param len  bytes in and out */
    [[nodiscard]] srtp_err_status_t unprotect(char* packet, int& len);

  private:
    void note_source(const char* packet, int len);

    static constexpr std::size_t kept_sources = 32;

    srtp_session_ptr session;
    srtp_err_status_t creation_status = srtp_err_status_ok;
    std::array<std::uint32_t, kept_sources> sources{}; // SSRCs as in the packets, a ring
    std::size_t source_count = 0;                      // ever seen
};

} // namespace vocalink
