// SPDX-License-Identifier: GPL-3.0-or-later
// The two parsers of an RTP header, and the watcher for codes. Input: packets, each behind its length.
#include "rtp/code_watcher.hpp"
#include "rtp/rtp_packet.hpp"
#include "rtp/rtp_view.hpp"
#include "support/input.hpp"

#include <cassert>
#include <vector>

using namespace vocalink;

namespace {

/** The parts of a packet lie in it, one behind the other. */
void check(const rtp_view& view, int len) {
    const auto payload = static_cast<int>(view.payload.size());
    assert(payload >= 0 && payload <= len);
    assert(payload == 0 || view.header_bytes + payload + view.padding_bytes == len);
    assert(view.payload_type >= 0 && view.payload_type <= 127);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    code_watcher codes;
    while (!in.empty()) {
        const auto bytes = in.bytes(in.byte());
        const std::vector<char> packet(bytes.begin(), bytes.end()); // so that its end is guarded
        const auto len = static_cast<int>(packet.size());
        const rtp_view measured = measure_rtp(packet.data(), len);
        check(measured, len);
        const auto parsed = parse_rtp(packet.data(), len);
        if (parsed) {
            check(*parsed, len);
            assert(parsed->sequence == measured.sequence && parsed->ssrc == measured.ssrc);
            assert(parsed->header_bytes >= rtp_header_bytes);
        }
        (void)codes.take(packet.data(), len);
    }
    return 0;
}
