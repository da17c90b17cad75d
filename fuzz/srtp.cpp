// SPDX-License-Identifier: GPL-3.0-or-later
// Encrypted packets: those of a partner come back as they were, anything else does no harm.
//
// Input: packets, each behind a byte of flags and its length.
#include "rtp/rtp_packet.hpp"
#include "rtp/srtp_session.hpp"
#include "support/input.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <string>

using namespace vocalink;

namespace {

constexpr std::array<unsigned char, srtp_key_bytes> key{1, 2, 3};
constexpr std::size_t room = 64; // that libsrtp may want behind a packet

srtp_err_status_t pass(srtp_err_status_t (srtp_session::*operation)(char*, int&),
                       srtp_session& session, std::string& packet) {
    int len = static_cast<int>(packet.size());
    packet.resize(packet.size() + room);
    const srtp_err_status_t status = (session.*operation)(packet.data(), len);
    assert(len >= 0 && len <= static_cast<int>(packet.size()));
    packet.resize(static_cast<std::size_t>(len));
    return status;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto started = srtp_init();
    assert(started == srtp_err_status_ok);
    fuzz::input in(data, size);
    srtp_session sender(ssrc_any_outbound, key), receiver(ssrc_any_inbound, key);
    if (in.byte() % 2 == 0) {
        sender.keep(in.byte());
    }
    while (!in.empty()) {
        const std::uint8_t flags = in.byte();
        std::string packet = in.text(in.byte());
        if (flags % 4 == 0) {
            (void)pass(&srtp_session::unprotect, receiver, packet);
        } else if (flags % 4 == 1) {
            const std::uint32_t source = in.number<std::uint32_t>();
            sender.forget(source);
            receiver.forget(source);
        } else {
            const std::string clear = packet;
            const bool sent = pass(&srtp_session::protect, sender, packet) == srtp_err_status_ok;
            assert(!sent || packet.size() == clear.size());
            if (sent && pass(&srtp_session::unprotect, receiver, packet) == srtp_err_status_ok &&
                flags % 4 == 3) {
                assert(packet.substr(0, rtp_header_bytes) == clear.substr(0, rtp_header_bytes));
            }
        }
    }
    return 0;
}
