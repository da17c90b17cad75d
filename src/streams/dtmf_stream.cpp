// SPDX-License-Identifier: GPL-3.0-or-later
// The sender of one telephone event.
#include "streams/dtmf_stream.hpp"

#include "util/log_line.hpp"
#include "util/system_random.hpp"
#include "util/text.hpp"

#include <algorithm>
#include <string_view>

namespace vocalink {

using util::log_line;

namespace {

constexpr int event_packet_bytes = rtp_header_bytes + event_payload_bytes;

} // namespace

dtmf_stream::dtmf_stream(std::string stream_id, std::string digit_text, int event_type,
                         int commanded_duration)
    : timer_stream(std::move(stream_id), "", kind_event), end_after(commanded_duration / 30),
      digits(std::move(digit_text)), payload_type(event_type),
      duration(commanded_duration), event{0, event_volume, 0, 0} {
    log_line() << "payload_type=" << payload_type;
    arm_timeout_timer();
    source = util::system_random();
    rtp_packet::init_header(rtp_header.data(), payload_type, *source);
    set_digit();
}

std::optional<std::uint8_t> dtmf_stream::event_code(char digit) {
    constexpr std::string_view codes = "0123456789*#";
    const auto code = codes.find(digit);
    if (code == std::string_view::npos) {
        return std::nullopt;
    }
    return static_cast<std::uint8_t>(code);
}

void dtmf_stream::set_digit() {
    if (digits.size() != 1) {
        log_line() << "-- stream(" << id << ") Invalid DTMF digit string " << digits;
        return;
    }
    const auto code = event_code(digits.front());
    if (!code) {
        log_line() << "-- stream(" << id << ") Invalid DTMF digit " << digits;
        return;
    }
    event[0] = static_cast<char>(*code);
}

int dtmf_stream::read_incoming_rtp(char* buf, int, bool) {
    rtp_packet::advance(rtp_header.data(), 0);
    if (counters.incoming_packets <= end_after) {
        const int longer = rtp_packet::read_be16(&event[2]) + frame_samples();
        rtp_packet::write_be16(&event[2], static_cast<std::uint16_t>(longer));
    } else {
        event[1] = static_cast<char>(event_end_flag | event_volume);
    }
    // Without a buffer the packet goes where the bridge looks for it.
    char* const packet = buf != nullptr ? buf : reinterpret_cast<char*>(incoming.data());
    std::copy(rtp_header.begin(), rtp_header.end(), packet);
    std::copy(event.begin(), event.end(), packet + rtp_header_bytes);

    count_incoming(event_packet_bytes);
    if (counters.incoming_packets > static_cast<long long>(end_after) + event_end_packets) {
        end_soon();
    }
    return event_packet_bytes;
}

int dtmf_stream::write_outgoing(const char*, int) {
    return 0;
}

void dtmf_stream::dump_stats(std::ostream& os) {
    os << util::format("%15s%c  %s  %d", id.c_str(), is_restricted() ? '*' : ' ', digits.c_str(),
                       duration);
}

void dtmf_stream::dump_detailed_stats(std::ostream&) {}

std::string dtmf_stream::list_stream() {
    return "FIXME"; // Deliberate: docs/behaviours.md#fixme-in-listings
}

} // namespace vocalink
