// SPDX-License-Identifier: GPL-3.0-or-later
// One direction of SRTP (RFC 3711), by libsrtp.
#pragma once

#include "util/c_handle.hpp"

#include <srtp2/srtp.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <type_traits>
#include <vector>

namespace vocalink {

/** Master key (16 bytes) and master salt (14 bytes), in this order. */
inline constexpr std::size_t srtp_key_bytes = 30;

/** The text of a libsrtp status, for log lines. */
[[nodiscard]] const char* srtp_error(srtp_err_status_t status);

using srtp_session_ptr = util::c_handle<std::remove_pointer_t<srtp_t>, srtp_dealloc>;

/** Protects or unprotects packets with AES-128 in counter mode and no authentication tag, so that
 *  packets keep their length. Each source (SSRC) has a state of its own, with its rollover counter
 *  and replay window. A peer can make up sources at will, so the session keeps 256 of them: a new
 *  one takes the place of the one unused longest. Loop thread only. */
class srtp_session {
  public:
    /** Makes a session; makes none when libsrtp refuses. is_open() tells whether that went well; if
     *  not, status() says why.
     *  @param direction  ssrc_any_outbound to protect, ssrc_any_inbound to unprotect */
    srtp_session(srtp_ssrc_type_t direction,
                 std::span<const unsigned char, srtp_key_bytes> key_and_salt);

    // Sources are SSRCs as they stand in packets.

    /** Names the source that is never forgotten. */
    void keep(std::uint32_t source) { lasting_source = source; }
    /** Drops the state of a source that sends no more; does nothing for one that has none. */
    void forget(std::uint32_t source);

    [[nodiscard]] bool is_open() const { return session != nullptr; }
    [[nodiscard]] srtp_err_status_t status() const { return creation_status; }

    /** Protects a packet in place. @param len  bytes in and out */
    [[nodiscard]] srtp_err_status_t protect(char* packet, int& len);
    /** Unprotects a packet in place. @param len  bytes in and out */
    [[nodiscard]] srtp_err_status_t unprotect(char* packet, int& len);

  private:
    void note_use(std::uint32_t source);
    void make_room();
    template <class Operation>
    srtp_err_status_t run(Operation operation, char* packet, int& len);

    static constexpr std::size_t max_sources = 256;

    srtp_session_ptr session;
    srtp_err_status_t creation_status = srtp_err_status_ok;
    std::vector<std::uint32_t> sources; // that have a state, the one used last at the end
    std::optional<std::uint32_t> lasting_source;
};

} // namespace vocalink
