// SPDX-License-Identifier: GPL-3.0-or-later
// The player of sound files.
#include "streams/sound_stream.hpp"

#include "base/exceptions.hpp"
#include "rtp/rtp_view.hpp"
#include "util/log_line.hpp"
#include "util/system_random.hpp"
#include "util/text.hpp"

#include <algorithm>

namespace vocalink {

using util::log_line;

sound_stream::sound_stream(std::string stream_id, std::string path, bool loop_file,
                           std::string_view encoding, std::shared_ptr<sound_frames> frames)
    : timer_stream(std::move(stream_id), encoding, kind_sound), filename(std::move(path)),
      loopflag(loop_file), file(std::move(frames), static_cast<std::size_t>(frame_bytes)),
      decoder(codec.file_in_mix ? codec.new_decoder() : nullptr) {
    if (!file.is_open()) {
        log_line("stream", id) << "could not open sound file " << filename;
        throw stream_exception("Could not open sound file");
    }
    arm_timeout_timer();
    if (payload == PCMU) {
        log_line() << "PCMU stream detected...";
    }
    source = util::system_random();
    rtp_packet::init_header(rtp_header.data(), payload, *source);
}

int sound_stream::read_incoming_rtp(char* buf, int, bool) {
    alignas(16) char own_buffer[max_packet_bytes];
    const bool own = buf == nullptr;
    char* const packet = own ? own_buffer : buf;

    const auto frame_units = static_cast<std::uint32_t>(frame_samples());
    switch (file.read(packet + rtp_header_bytes)) {
    case sound_file::reading::frame:
        break;
    case sound_file::reading::late:
        rtp_packet::set_timestamp(rtp_header.data(),
                                  rtp_packet::timestamp(rtp_header.data()) + frame_units);
        return 0;
    case sound_file::reading::ended:
        end_soon();
        return 0;
    }
    rtp_packet::advance(rtp_header.data(), frame_units);
    std::copy(rtp_header.begin(), rtp_header.end(), packet);
    const int total = rtp_header_bytes + frame_bytes;
    count_incoming(total);
    update_jitter();
    log_packet(pcap_in, packet, total, dir_in, true);
    if (own && decoder) {
        decoder->decode(measure_rtp(packet, total).payload, incoming.data());
    }
    return total;
}

int sound_stream::write_outgoing(const char*, int) {
    return 0;
}

void sound_stream::dump_stats(std::ostream& os) {
    os << util::format("%15s%c  %c  %s %-6s", id.c_str(), is_restricted() ? '*' : ' ',
                       counters.has_failures() ? 'X' : ' ', filename.c_str(),
                       get_loopflag().c_str());
}

void sound_stream::dump_detailed_stats(std::ostream& os) {
    os << util::format("%15s            %6lld/%3lld %c", id.c_str(), counters.incoming_packets,
                       counters.read_failures, is_restricted() ? 'T' : 'F');
    routing.write_targets(os);
}

std::string sound_stream::list_stream() {
    // Deliberate: docs/behaviours.md#loop-word-in-listings
    return util::escape(id) + "," + (counters.has_failures() ? "1" : "0") + ",,soundstream," +
           filename + get_loopflag();
}

} // namespace vocalink
