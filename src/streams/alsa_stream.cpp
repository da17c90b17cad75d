// SPDX-License-Identifier: GPL-3.0-or-later
// The output to the machine's sound device.
#include "streams/alsa_stream.hpp"

#include "audio/g711.hpp"
#include "base/exceptions.hpp"
#include "rtp/rtp_view.hpp"
#include "util/log_line.hpp"
#include "util/text.hpp"

#include <cerrno>

namespace vocalink {

using util::log_line;

alsa_stream::alsa_stream(std::string stream_id, const char* player_command)
    : stream(std::move(stream_id), ""), player(player_command) {
    if (!player.is_open()) {
        log_line() << "stream(" << id << "): could not popen aplay: " << util::error_text(errno);
        throw stream_exception("could not popen aplay");
    }
}

int alsa_stream::read_incoming_rtp(char*, int, bool) {
    return 0;
}

int alsa_stream::write_outgoing(const char* buf, int len) {
    if (buf == nullptr) {
        char frame[usual_frame_samples];
        linear2ulaw(outgoing.data(), frame, frame_bytes);
        player.write(frame, static_cast<std::size_t>(frame_bytes));
        return 0;
    }
    const rtp_view view = measure_rtp(buf, len);
    if (!view.payload.empty() && view.payload_type == PCMU) {
        player.write(buf + view.header_bytes, view.payload.size());
    }
    return 0;
}

void alsa_stream::dump_stats(std::ostream& os) {
    os << util::format("%15s%c  %s  %d", id.c_str(), is_restricted() ? '*' : ' ', "digit.c_str()",
                       0);
}

void alsa_stream::dump_detailed_stats(std::ostream&) {}

std::string alsa_stream::list_stream() {
    return {}; // Deliberate: docs/behaviours.md#fixme-in-listings
}

} // namespace vocalink
