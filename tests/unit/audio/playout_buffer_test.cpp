// SPDX-License-Identifier: GPL-3.0-or-later
// A speaker's way through the playout buffer, on simulated lines and simulated time.
#include "audio/g711.hpp"
#include "audio/playout_buffer.hpp"
#include "audio/voice_encoder.hpp"
#include "line/line_trial.hpp"
#include "unit_test.hpp"

#include <numbers>

namespace vocalink {
namespace {

using line::delay_meter;
using line::line_settings;
using line::line_trial;

/** A voiced sound: 130 Hz with harmonics, its loudness going up and down as syllables do. */
std::int16_t voice_at(int n) {
    const double t = n / 8000.0;
    double wave = 0;
    for (int harmonic = 1; harmonic <= 12; ++harmonic) {
        const double at_formant = std::exp(-std::pow((harmonic * 130 - 650) / 400.0, 2));
        wave += (0.2 + at_formant) * std::sin(2 * std::numbers::pi * 130 * harmonic * t);
    }
    const double loudness = 0.6 + 0.4 * std::sin(2 * std::numbers::pi * 3 * t);
    return static_cast<std::int16_t>(2500 * loudness * wave);
}

void speak(int number, std::span<std::uint8_t> payload) {
    for (std::size_t i = 0; i < payload.size(); ++i) {
        const short sample =
            voice_at(static_cast<int>(payload.size()) * number + static_cast<int>(i));
        linear2ulaw(&sample, reinterpret_cast<char*>(&payload[i]), 1);
    }
}

double rms(std::span<const std::int16_t> samples) {
    return std::sqrt(std::inner_product(samples.begin(), samples.end(), samples.begin(), 0.0) /
                     static_cast<double>(samples.size()));
}

/** The sharpest bend of a wave: what a click would raise. */
int sharpest_bend(std::span<const std::int16_t> samples) {
    int sharpest = 0;
    for (std::size_t i = 2; i < samples.size(); ++i) {
        sharpest = std::max(sharpest, std::abs(samples[i] - 2 * samples[i - 1] + samples[i - 2]));
    }
    return sharpest;
}

/** Plays a minute of voice, which must sound as it was said: in loudness, and without a click. */
line_trial hear_voice(const line_settings& settings, double most_db, double most_bend) {
    std::vector<std::int16_t> said(80'000);
    std::generate(said.begin(), said.end(), [n = 0]() mutable { return voice_at(n++); });
    line_trial voice(settings, speak);
    voice.run_until(60);
    const auto heard = std::span(voice.samples).subspan(8000);
    EXPECT_NEAR(20 * std::log10(rms(heard) / rms(said)), 0, most_db);
    EXPECT_LE(sharpest_bend(heard), most_bend * sharpest_bend(said));
    return voice;
}

/** Speaks to a buffer packet by packet, and listens tick by tick. */
class conversation {
  public:
    void say(std::span<const std::uint8_t> payload, std::uint32_t timestamp_step = 160) {
        next.payload = payload;
        buffer->put(next, now_s);
        ++next.sequence;
        next.timestamp += timestamp_step;
    }

    /** A packet of 20 ms of one loud level. */
    void say(std::uint32_t timestamp_step = 160) {
        std::array<std::uint8_t, 160> payload;
        payload.fill(0x90);
        say(payload, timestamp_step);
    }

    bool tick() {
        const bool said = buffer->play(now_s + 0.010);
        std::ranges::copy(buffer->played(), frame.begin());
        now_s += 0.020;
        return said;
    }

    /** Says and plays n packets; returns the number of ticks in which something was said. */
    int talk(int packets, std::uint32_t timestamp_step = 160) {
        int said = 0;
        for (int i = 0; i < packets; ++i) {
            say(timestamp_step);
            said += wait(1);
        }
        return said;
    }

    int wait(int ticks) { return ticks > 0 ? int{tick()} + wait(ticks - 1) : 0; }

    std::unique_ptr<playout_buffer> buffer = std::make_unique<playout_buffer>(97, 38);
    rtp_view next{
        .payload_type = PCMU, .sequence = 65530, .timestamp = 0xFFFFFF00, .ssrc = 7, .payload = {}};
    double now_s = 100;
    std::array<std::int16_t, voice_frame_samples> frame{};
};

TEST(playout_line, fades_what_was_cut_off_into_what_follows) {
    playout_line line;
    line.append(std::vector<std::int16_t>(240, 8000));
    line.cut_end(160);
    line.append(std::vector<std::int16_t>(160, -8000));
    line.take();
    EXPECT_LT(sharpest_bend(line.taken()), 1000);
}

TEST(playout_buffer, clean_line_is_heard_early_and_whole) {
    for (const double packet_ms : {5.0, 10.0, 20.0, 30.0, 60.0, 120.0}) {
        for (const double first_packet_s : {0.0001, 0.005, 0.0113, 0.0199}) {
            SCOPED_TRACE(packet_ms * 1000 + first_packet_s);
            delay_meter meter({.packet_ms = packet_ms, .first_packet_s = first_packet_s});
            meter.trial.run_until(30);
            const std::size_t sent = meter.trial.arrivals.size();
            EXPECT_GE(meter.delays(0, 30).size(), sent - 10);
            EXPECT_LE(meter.median(0, 30), 40);
            EXPECT_LE(meter.worst(0, 30), 60);
            EXPECT_EQ(meter.trial.buffer.counters().concealed_ms, 0U);
            EXPECT_EQ(meter.trial.buffer.counters().lost, 0U);
        }
    }
}

TEST(playout_buffer, jitter_is_covered_and_forgotten) {
    for (std::uint32_t seed = 1; seed <= 5; ++seed) {
        delay_meter meter(
            {.jitter_ms = 40, .jitter_from_s = 10, .jitter_until_s = 70, .seed = seed});
        meter.trial.run_until(70);
        EXPECT_NEAR(meter.trial.buffer.counters().jitter_ms, 40 / 3.0, 6);
        meter.trial.run_until(90);
        const double before = meter.median(2, 10);
        EXPECT_LE(meter.median(12, 70), 75);
        EXPECT_LE(meter.worst(12, 70), 110);
        EXPECT_LE(meter.trial.buffer.counters().concealed_ms, 600U); // 1 % of a minute
        EXPECT_EQ(meter.trial.buffer.counters().lost, 0U);
        EXPECT_NEAR(meter.median(80, 90), before, 20);
    }
    delay_meter stumble({.jitter_ms = 150, .jitter_from_s = 10, .jitter_until_s = 10.1});
    stumble.trial.run_until(20);
    EXPECT_GT(stumble.worst(10, 12), 80);
    EXPECT_LE(stumble.worst(14, 20), 50);
}

TEST(playout_buffer, drift_is_followed_without_a_click) {
    for (const double drift : {0.005, -0.005}) {
        SCOPED_TRACE(drift);
        delay_meter meter({.drift = drift});
        meter.trial.run_until(600);
        EXPECT_NEAR(meter.median(590, 600), meter.median(0, 3), 30);
        EXPECT_LE(meter.worst(0, 600), 60);
        EXPECT_EQ(meter.trial.buffer.counters().concealed_ms, 0U);
        hear_voice({.drift = drift}, 0.5, 1.3);
    }
}

TEST(playout_buffer, loss_is_concealed_at_the_same_loudness_without_a_click) {
    const line_trial voice = hear_voice({.loss = 0.05}, 1, 2);
    const line_quality counters = voice.buffer.counters();
    EXPECT_GT(counters.lost, 100U);
    EXPECT_NEAR(static_cast<double>(counters.concealed_ms), 20 * static_cast<double>(counters.lost),
                100);
    EXPECT_EQ(std::count(voice.said.begin() + 5, voice.said.end(), false), 0);
}

TEST(playout_buffer, concealment_fades_and_ends_after_100_ms) {
    for (const auto& [payload, frame_bytes] :
         {std::pair(PCMU, 160), {PCMA, 160}, {G722, 160}, {G729, 20}, {ILBC, 38}}) {
        SCOPED_TRACE(payload);
        conversation talk;
        talk.next.payload_type = payload == ILBC ? 97 : int{payload};
        voice_encoder encoder(payload, frame_bytes);
        double loudness = 0;
        for (int i = 0; i < 50; ++i) {
            std::array<std::int16_t, voice_frame_samples> voice;
            std::generate(voice.begin(), voice.end(),
                          [n = 160 * i]() mutable { return voice_at(n++); });
            std::array<std::uint8_t, voice_encoder::max_payload_bytes> packet;
            talk.say(std::span(packet).first(encoder.encode(voice, packet)));
            talk.tick();
            loudness = std::max(loudness, rms(talk.frame));
        }
        std::array<double, 8> after{};
        for (double& level : after) {
            talk.tick();
            level = rms(talk.frame) / loudness;
        }
        // What waited is at most two frames, then come 100 ms.
        EXPECT_GT(after[0], 0.1);
        const auto* const last = std::find(after.begin(), after.end(), 0.0) - 1;
        EXPECT_LT(*last, 0.5 * last[-2]) << "fades";
        EXPECT_EQ(after[7], 0);
        EXPECT_FALSE(talk.tick());
        EXPECT_EQ(talk.buffer->counters().delay_ms, 0);
        talk.next.payload_type = PCMU;
        talk.say();
        while (!talk.tick()) {
        }
        EXPECT_LT(sharpest_bend(talk.frame), 1000) << "is led in";
        if (payload == G729) { // the loudest of silence descriptions
            talk.next.payload_type = G729;
            talk.say(std::array<std::uint8_t, 2>{0, 0x3E});
            EXPECT_GE(talk.wait(40), 24) << "comfort noise goes on for half a second";
        }
    }
}

TEST(playout_buffer, every_new_beginning_is_heard_at_once_and_nothing_stale) {
    const auto heard_again = [](conversation& talk, const char* what) {
        SCOPED_TRACE(what);
        EXPECT_GE(talk.talk(50), 48);
        EXPECT_LE(talk.buffer->counters().delay_ms, 60);
        EXPECT_LE(talk.wait(20), 10); // at most what waited, and concealment
    };
    conversation talk;
    heard_again(talk, "first");
    heard_again(talk, "after silence without timestamps");
    talk.next.timestamp += 400 * 160;
    talk.wait(400);
    heard_again(talk, "after silence with timestamps");
    for (int word = 0; word < 100; ++word) { // with short pauses between
        talk.talk(5);
        talk.next.timestamp += 3 * 160;
        talk.wait(3);
    }
    talk.talk(5);
    EXPECT_NEAR(talk.buffer->counters().delay_ms, 35, 25) << "pauses are where timestamps say";
    for (const std::uint32_t jump : {0x80000000U, 200'000U, 0U - 200'000U, 8000U}) {
        talk.talk(20);
        talk.next.timestamp += jump;
        heard_again(talk, "timestamp jump");
    }
    for (const int jump : {-10, -40, -60, 30000, 5000, -5000}) {
        talk.talk(60);
        talk.next.sequence = static_cast<std::uint16_t>(talk.next.sequence + jump);
        talk.next.timestamp += 1'000'000;
        heard_again(talk, "sequence restart");
    }
    talk.talk(20);
    ++talk.next.ssrc;
    talk.next.timestamp = 5;
    talk.next.sequence = 9;
    heard_again(talk, "new source");
    EXPECT_EQ(talk.buffer->counters().late, 0U);
    talk.buffer->clear();
    heard_again(talk, "after clear");
}

TEST(playout_buffer, sender_with_wrong_timestamps_is_heard) {
    for (const std::uint32_t step : {0U, 1U, 20U, 80U, 320U, 480U, 100'000U, 0U - 160U}) {
        SCOPED_TRACE(step);
        conversation talk;
        EXPECT_GE(talk.talk(500, step), 497);
        EXPECT_LE(talk.buffer->counters().delay_ms, 60);
        EXPECT_LE(talk.buffer->counters().concealed_ms, 40U);
    }
    conversation overlapping; // packets that came in the wrong order, too long for their places
    overlapping.tick();
    for (const std::uint16_t number : {78, 76, 77}) {
        overlapping.next.sequence = number;
        overlapping.say(std::vector<std::uint8_t>(number == 78   ? 50
                                                  : number == 76 ? 10
                                                                 : 160),
                        number == 78 ? 3781 : 160);
        overlapping.now_s += number == 77 ? -0.010 : 0.028;
    }
    overlapping.tick();
    EXPECT_GE(overlapping.buffer->counters().delay_ms, 0);
}

TEST(playout_buffer, process_that_stood_is_back_within_two_seconds) {
    for (const double stood_s : {0.15, 0.3, 0.5, 1.0}) {
        for (const int caught_up : {0, 4}) {
            SCOPED_TRACE(stood_s * 10 + caught_up);
            delay_meter meter({});
            meter.trial.run_until(10);
            meter.trial.stand(stood_s, caught_up);
            meter.trial.run_until(20 + stood_s);
            EXPECT_NEAR(meter.median(12 + stood_s, 20 + stood_s), meter.median(2, 10), 20);
            EXPECT_LE(meter.worst(12 + stood_s, 20 + stood_s), 60);
        }
    }
}

TEST(playout_buffer, burst_leaves_the_newest_200_ms_at_most) {
    conversation talk;
    talk.talk(50);
    for (int i = 0; i < 300; ++i) {
        talk.say();
        EXPECT_LE(talk.buffer->counters().delay_ms, 200);
    }
    talk.talk(500);
    EXPECT_LE(talk.buffer->counters().delay_ms, 60);
    EXPECT_EQ(talk.buffer->counters().lost, 0U);

    talk.wait(30);
    talk.next.ssrc += 1;
    for (const int step : {1, 1, -23, 1}) { // the third is older than what there is room for
        talk.say();
        talk.next.sequence = static_cast<std::uint16_t>(talk.next.sequence + step - 1);
    }
    talk.tick();
    EXPECT_LE(talk.buffer->counters().delay_ms, 200);
    EXPECT_LE(sizeof(playout_buffer), 16U * 1024);
}

TEST(playout_buffer, counts_what_was_lost_late_and_doubled) {
    conversation talk;
    talk.talk(20);
    ++talk.next.sequence; // lost
    talk.next.timestamp += 160;
    talk.talk(20);
    --talk.next.sequence; // doubled
    talk.next.timestamp -= 160;
    talk.talk(10);
    talk.next.sequence = static_cast<std::uint16_t>(talk.next.sequence - 30); // the lost one, late
    talk.next.timestamp -= 30 * 160;
    talk.say();
    const line_quality counted = talk.buffer->counters();
    EXPECT_EQ((std::array{counted.lost, counted.late, counted.duplicate, counted.concealed_ms}),
              (std::array<std::uint64_t, 4>{0, 1, 1, 20}));

    conversation others;
    others.talk(10);
    others.next.sequence = static_cast<std::uint16_t>(others.next.sequence + 3);
    others.next.timestamp += 3 * 160;
    others.talk(10);
    ++others.next.ssrc;
    others.next.sequence = 100;
    others.talk(10);
    ++others.next.sequence;
    others.talk(10);
    EXPECT_EQ(others.buffer->counters().lost, 4U);
}

} // namespace
} // namespace vocalink
