// SPDX-License-Identifier: GPL-3.0-or-later
// The generator and detector of signalling tones.
#include "streams/tone_stream.hpp"

#include "rtp/rtp_view.hpp"
#include "util/log_line.hpp"
#include "util/system_random.hpp"
#include "util/text.hpp"

#include <algorithm>
#include <cstring>

namespace vocalink {

using util::log_line;

namespace {

// 200 of the 400 samples of a generated block. Deliberate: docs/behaviours.md#raw-tones
constexpr int body_bytes_sent = 400;

constexpr std::size_t kept_digits = 1024;

} // namespace

tone_stream::tone_stream(std::string stream_id, ToneType signalling, bool detect_digits)
    : timer_stream(std::move(stream_id), "", kind_other), tone_type(signalling),
      detect(detect_digits), generator(signalling) {
    if (tone_type == BELLMF) {
        generator.put("1234");
    }
    if (detect && tone_type != R2MF) {
        detector.emplace(tone_type);
    }
    source = util::system_random();
    rtp_packet::init_header(rtp_header.data(), PCMU, *source);
}

tone_stream::~tone_stream() {
    log_suppressed(size_mismatches.suppressed(), "packet size mismatches");
}

void tone_stream::put_tones(std::string digits) {
    generator.put(digits);
}

std::string tone_stream::tones_detected(bool clear) {
    std::string digits = detected;
    if (clear) {
        detected.clear();
    }
    return digits;
}

int tone_stream::read_incoming_rtp(char* buf, int, bool) {
    char own_buffer[max_packet_bytes];
    char* const packet = buf != nullptr ? buf : own_buffer;
    rtp_packet::advance(rtp_header.data(), 0);
    std::copy(rtp_header.begin(), rtp_header.end(), packet);
    const int generated = generator.generate(tone_samples.data(), generated_samples);
    std::memcpy(packet + rtp_header_bytes, tone_samples.data(), body_bytes_sent);
    const int total = rtp_header_bytes + body_bytes_sent;
    if (generated != 0) {
        count_incoming(total);
    }
    return total;
}

int tone_stream::write_outgoing(const char* buf, int len) {
    if (!detect || buf == nullptr) {
        return 0;
    }
    const rtp_view view = measure_rtp(buf, len);
    const bool audio = view.payload_type == PCMU || view.payload_type == G729;
    const int body = audio ? frame_bytes : event_payload_bytes;
    const int need = view.header_bytes + body + view.padding_bytes;
    if (need > len) {
        log_size_mismatch(size_mismatches, need, len);
        return 0;
    }
    run_detector(buf + view.header_bytes, static_cast<std::size_t>(body));
    return 0;
}

/** Looks for digits in raw samples. Deliberate: docs/behaviours.md#raw-tones */
void tone_stream::run_detector(const char* body, std::size_t body_bytes) {
    std::array<short, usual_frame_samples> samples; // room for a body, and for as many samples
    std::memcpy(samples.data(), body, body_bytes);
    if (!detector) { // Deliberate: docs/behaviours.md#r2-tones
        generator.generate(samples.data(), static_cast<int>(body_bytes));
        return;
    }
    keep_digits(detector->detect(std::span(samples).first(body_bytes / sizeof(short))));
}

void tone_stream::keep_digits(std::string_view digits) {
    if (digits.empty()) {
        return;
    }
    log_line() << "detected: " << digits;
    detected += digits;
    if (detected.size() > kept_digits) {
        detected.erase(0, detected.size() - kept_digits);
    }
}

void tone_stream::dump_stats(std::ostream& os) {
    os << util::format("%15s%c  %s  %d", id.c_str(), is_restricted() ? '*' : ' ', "digit.c_str()",
                       0);
}

void tone_stream::dump_detailed_stats(std::ostream&) {}

std::string tone_stream::list_stream() {
    return {}; // Deliberate: docs/behaviours.md#fixme-in-listings
}

} // namespace vocalink
