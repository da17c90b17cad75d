// SPDX-License-Identifier: GPL-3.0-or-later
// The listener that writes what it hears to a WAV file.
#include "streams/wav_stream.hpp"

#include "rtp/rtp_view.hpp"
#include "streams/conference_leg.hpp"
#include "util/monotonic_time.hpp"
#include "util/text.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace vocalink {

namespace {

constexpr double samples_per_s = 8000.0;

// A relayed telephone that is silent for longer leaves a gap; one that is late does not.
constexpr double longest_jitter_frames = 10.0;

} // namespace

/** Hears one frame a tick; ticks that the schedule skipped become silence. */
class wav_stream::leg : public conference_leg {
  public:
    explicit leg(wav_stream& writing) : owner(writing) {
        const double now_s = util::monotonic_seconds();
        if (!owner.started) {
            owner.started = true;
            owner.begin_s = now_s;
        }
        owner.fill(std::floor(owner.lag(now_s)));
    }

    [[nodiscard]] std::optional<tick_view> speak(double) override { return {}; }
    [[nodiscard]] bool listens() const override { return true; }

    void hear(const tick_frame& frame, double due_s) override {
        // The frame of this tick makes up for the last 20 ms of the lag.
        owner.fill(std::floor(owner.lag(due_s) - 0.5));
        owner.append(frame);
    }

  private:
    wav_stream& owner;
};

wav_stream::wav_stream(std::string stream_id, std::unique_ptr<wav_recording> target)
    : stream(std::move(stream_id), ""), file(std::move(target)), relayed(-1, 0) {}

wav_stream::~wav_stream() {
    if (started) {
        fill(std::floor(lag(util::monotonic_seconds())));
    }
}

std::unique_ptr<conference_leg> wav_stream::make_conference_leg() {
    return std::make_unique<leg>(*this);
}

double wav_stream::lag(double now_s) const {
    return (now_s - begin_s - written_s) / usual_frame_s;
}

void wav_stream::fill(double frames) {
    if (frames >= 1.0) {
        file->append_silence(static_cast<std::uint32_t>(frames));
        written_s += frames * usual_frame_s;
    }
}

void wav_stream::append(std::span<const std::int16_t> samples) {
    file->append(samples);
    written_s += static_cast<double>(samples.size()) / samples_per_s;
    counters.outgoing_packets += 1;
    counters.outgoing_bytes += static_cast<long long>(samples.size_bytes());
}

int wav_stream::read_incoming_rtp(char*, int, bool) {
    return 0;
}

int wav_stream::write_outgoing(const char* buf, int len) {
    const double now_s = util::monotonic_seconds();
    if (!started) {
        started = true;
        begin_s = now_s - usual_frame_s;
    }
    if (buf == nullptr) {
        append({outgoing.data(), static_cast<std::size_t>(frame_samples())});
        // This mix moves 20 ms of audio every 30 ms: the file goes by the audio.
        begin_s = now_s - written_s;
        return 0;
    }
    const auto view = parse_rtp(buf, len);
    std::array<std::int16_t, max_voice_packet_samples> samples;
    const int count = view ? relayed.decode(view->payload_type, view->payload, samples) : 0;
    if (count > 0) {
        if (lag(now_s) > longest_jitter_frames) {
            fill(std::floor(lag(now_s)) - 1.0);
        }
        for (std::size_t at = 0; at < static_cast<std::size_t>(count); at += tick_samples) {
            append(std::span(samples).subspan(
                at, std::min(tick_samples, static_cast<std::size_t>(count) - at)));
        }
    }
    return 0;
}

void wav_stream::dump_stats(std::ostream& os) {
    os << util::format("%15s%c  %c  %s", id.c_str(), is_restricted() ? '*' : ' ', ' ',
                       file->get_path().c_str());
}

void wav_stream::dump_detailed_stats(std::ostream& os) {
    os << util::format("%15s            %6lld/%3lld %c", id.c_str(), counters.outgoing_packets,
                       counters.write_failures, is_restricted() ? 'T' : 'F');
    routing.write_targets(os);
}

std::string wav_stream::list_stream() {
    return util::escape(id) + ",0,,wavstream," + file->get_path();
}

} // namespace vocalink
