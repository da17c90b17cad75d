// SPDX-License-Identifier: GPL-3.0-or-later
// A recording of linear samples as a WAV file.
#include "recording/wav_recording.hpp"

#include "audio/frame.hpp"
#include "util/log_line.hpp"

#include <array>
#include <bit>
#include <memory>
#include <utility>

namespace vocalink {

static_assert(std::endian::native == std::endian::little, "samples are written in host order");

using util::log_line;

namespace {

constexpr std::array<std::int16_t, max_frame_samples> silence{};

std::span<const char> bytes_of(std::span<const std::int16_t> samples) {
    return {reinterpret_cast<const char*>(samples.data()), samples.size_bytes()};
}

} // namespace

wav_recording::wav_recording(std::string owner, std::string recording_name, std::string stream_id,
                             record_sink::opened_handler opened)
    : name(recording_name),
      sink(std::make_unique<recording_file>(std::move(owner), std::move(recording_name),
                                            std::move(stream_id), wav_format),
           std::move(opened)) {}

wav_recording::~wav_recording() {
    if (dropped > 0) {
        log_line("recording", name) << dropped << " packets or fillings dropped";
    }
}

void wav_recording::append(std::span<const std::int16_t> samples) {
    if (sink.append({}, bytes_of(samples))) {
        return;
    }
    if (dropped++ == 0) {
        log_line("recording", name) << "the file writer is behind, dropping packets";
    }
    (void)sink.append_copies(bytes_of(std::span(silence).first(samples.size())), 1);
}

void wav_recording::append_silence(std::uint32_t frames) {
    if (frames > 0) {
        (void)sink.append_copies(bytes_of(std::span(silence).first(usual_frame_samples)), frames);
    }
}

} // namespace vocalink
