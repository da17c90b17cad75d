// SPDX-License-Identifier: GPL-3.0-or-later
// How raw recordings keep real time: frames of silence where packets are missing.
#include "audio/codec.hpp"
#include "recording/recording.hpp"
#include "util/log_line.hpp"
#include "util/time_values.hpp"

#include <charconv>

namespace vocalink {

using util::log_line;
using util::operator+=; // NOLINT: used below
using util::operator-;  // NOLINT
using util::nanoSeconds;

namespace {

constexpr long frame_ns = 20'000'000;
constexpr int frames_per_second = 50;
constexpr unsigned max_filled_frames = 1250;

// In timestamp units. A step from above before_wrap to at most after_wrap is a wrap and adds
// wrap_step, which is one less than 2^32. Deliberate: docs/behaviours.md#timestamp-wrap
constexpr std::uint32_t before_wrap = 4294767294;
constexpr std::uint32_t after_wrap = 199999;
constexpr std::uint64_t wrap_step = 0xFFFFFFFF;

std::string hexadecimal(std::uint32_t number) {
    char digits[8];
    const auto end = std::to_chars(digits, digits + sizeof digits, number, 16).ptr;
    return "0x" + std::string(digits, end);
}

} // namespace

void recording::detect_silence(const rtp_view& packet) {
    const auto payload = static_cast<rtp_payload>(packet.payload_type);
    if (packet.ssrc != ssrc || packet.marker) {
        start_source(payload, packet.ssrc, packet.timestamp);
    } else {
        fill_gap(payload, packet.timestamp, static_cast<unsigned>(packet.payload.size()));
    }
}

/** Starts the time of a new source or a new talkspurt. Where a source replaces another, fills the
 *  time since the last packet of that one. */
void recording::start_source(rtp_payload payload, std::uint32_t packet_ssrc, std::uint32_t ts) {
    const timespec arrival = now();
    if (ssrc == 0) {
        if (admit_line(source_lines, "sources")) {
            log_line("recording", name) << "ssrc is " << hexadecimal(ssrc);
        }
    } else if (packet_ssrc != ssrc) {
        if (admit_line(source_lines, "sources")) {
            log_line("recording", name) << "ssrc change to " << hexadecimal(ssrc);
        }
        const std::int64_t frames = nanoSeconds(arrival - last_time) / frame_ns;
        if (frames > 1) {
            write_silence(payload, limit_filling(frames - 1));
        }
    }
    ssrc = packet_ssrc;
    last_ts = ts;
    last_time = arrival;
}

/** Fills what is missing between two packets of one source. */
void recording::fill_gap(rtp_payload payload, std::uint32_t ts, unsigned payload_bytes) {
    last_time += timespec{0, frame_ns};
    std::uint64_t extended = ts;
    if (last_ts > before_wrap && ts <= after_wrap) {
        extended += wrap_step;
    }
    if (last_ts > extended) {
        if (admit_line(sequence_lines, "packets out of sequence")) {
            log_line("recording", name) << "ignoring out of sequence packet.";
        }
        return;
    }
    const std::uint64_t elapsed = extended - last_ts;
    const auto ts_inc = static_cast<unsigned>(payload_ts_inc(payload));
    const auto frame_bytes = static_cast<unsigned>(payload_frame_size(payload));
    if (elapsed > std::uint64_t{payload_bytes} * ts_inc) {
        const std::uint64_t frames = elapsed / (std::uint64_t{frame_bytes} * ts_inc);
        const unsigned filled =
            limit_filling(static_cast<unsigned>(frames) - payload_bytes / frame_bytes);
        write_silence(payload, filled);
        last_time += timespec{filled / frames_per_second,
                              static_cast<long>(filled % frames_per_second) * frame_ns};
    }
    last_ts = ts;
}

/** @return how many of the missing frames to fill */
unsigned recording::limit_filling(std::int64_t missing_frames) {
    if (missing_frames <= max_filled_frames) {
        return static_cast<unsigned>(missing_frames);
    }
    if (admit_line(truncation_lines, "truncations")) {
        log_line("recording", name) << "silence frames truncated from " << missing_frames << " to "
                                    << max_filled_frames << ".";
    }
    return max_filled_frames;
}

void recording::write_silence(rtp_payload payload, unsigned count) {
    if (admit_line(silence_lines, "silence")) {
        log_line("recording", name) << "writing " << count << " silence frames";
    }
    if (!append_silence(payload, count)) {
        count_dropped();
    }
}

bool recording::append_silence(rtp_payload payload, std::int64_t count) {
    const auto* const frame = reinterpret_cast<const char*>(payload_silence_frame(payload));
    const auto bytes = static_cast<std::size_t>(payload_frame_size(payload));
    return count == 0 ||
           sink.append_copies(std::span(frame, bytes), static_cast<std::uint32_t>(count));
}

timespec recording::monotonic_time() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time;
}

/** Bounds the lines of each kind, because a peer can cause one with every packet. */
bool recording::admit_line(util::repeat_guard& kind, const char* what) {
    const bool admitted = kind.admit();
    if (kind.at_limit()) {
        log_line("recording", name) << "future lines about " << what << " will be suppressed";
    }
    return admitted;
}

} // namespace vocalink
