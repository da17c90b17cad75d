// SPDX-License-Identifier: GPL-3.0-or-later
// How early packets come before the tick that plays them, and how early they should.
#include "audio/playout_delay.hpp"

#include "audio/frame.hpp"

#include <algorithm>
#include <cmath>

namespace vocalink {

namespace {

constexpr double frame_ms = 20;

/** Up to five ticks may come at once to catch up. Later ones never come. */
constexpr double most_caught_up_s = 4 * usual_frame_s;

/** The schedule moves by this share of how late a tick was. */
constexpr double late_share = 1.0 / 16;

// The delay grows when the tightest packet has less than the least slack, and shrinks when it has
// more than the excessive one. A first packet gets at least the first slack. The excessive one is a
// whole frame above it, so that growing and shrinking do not alternate.
constexpr double least_slack_ms = 5;
constexpr double first_slack_ms = 10;
constexpr double excessive_slack_ms = first_slack_ms + frame_ms;

/** A longer delay does not help packets later than this. */
constexpr double hopeless_slack_ms = -200;

// The tightest packet is sought in the last one to two spans. Spans are long on a line that was late
// more than once lately, and short otherwise, so that a single stumble is soon forgotten.
constexpr double calm_span_s = 0.5;
constexpr double restless_span_s = 2.0;
constexpr double restless_s = 10;

std::int64_t whole_frames(std::int64_t lead) {
    const std::int64_t rest = lead % voice_frame_samples;
    return (lead - (rest < 0 ? rest + voice_frame_samples : rest)) / voice_frame_samples;
}

} // namespace

double playout_delay::tightest::slack_ms() const {
    return to_tick_ms + frame_ms * static_cast<double>(whole_frames(lead));
}

int playout_delay::tick(double now_s) {
    const double late_s = ticking ? now_s - due_s : 0;
    const bool is_late = late_s > usual_frame_s;
    const bool in_a_row = now_s - last_tick_s < usual_frame_s * 3 / 4;
    double skipped_s = 0;
    if (late_s > most_caught_up_s + usual_frame_s) {
        skipped_s = late_s - most_caught_up_s;
    } else if (is_late && last_was_late && !in_a_row) {
        skipped_s = late_s; // nobody catches up: the schedule began anew
    }
    if (skipped_s > 0) {
        forget();
    }
    ticking = true;
    last_was_late = is_late;
    last_tick_s = now_s;
    const double rest_s = late_s - skipped_s;
    due_s = now_s - (rest_s > 0 ? rest_s * (1 - late_share) : 0) + usual_frame_s;
    return static_cast<int>(skipped_s * samples_per_second);
}

double playout_delay::ms_to_tick(double now_s) const {
    return (due_s - now_s) * 1000;
}

void playout_delay::arrived(std::int64_t lead, double now_s) {
    if (!ticking || now_s > due_s + 2 * usual_frame_s) {
        return; // the process stands: when the packet came is not known
    }
    if (now_s >= span_end_s) {
        span_before = this_span;
        this_span = {};
        span_end_s = now_s + (now_s < restless_until_s ? restless_span_s : calm_span_s);
    }
    const tightest packet{true, ms_to_tick(now_s), lead};
    const double slack_ms = packet.slack_ms();
    if (slack_ms < 0) {
        note_late(now_s);
    }
    if (slack_ms > hopeless_slack_ms && (!this_span.known || slack_ms < this_span.slack_ms())) {
        this_span = packet;
    }
}

void playout_delay::note_late(double now_s) {
    const double since_s = now_s - last_late_s;
    if (since_s > calm_span_s && since_s < restless_s) { // not the same stumble
        restless_until_s = now_s + restless_s;
    }
    last_late_s = now_s;
}

void playout_delay::moved(int samples) {
    this_span.lead += samples;
    span_before.lead += samples;
}

int playout_delay::first_lead(double now_s, double jitter_ms) const {
    const double wanted_ms = first_slack_ms + 2 * jitter_ms;
    const double missing_ms = wanted_ms - (ticking ? ms_to_tick(now_s) : frame_ms);
    const double frames = std::clamp(std::ceil(missing_ms / frame_ms), 0.0, 50.0);
    return static_cast<int>(frames) * voice_frame_samples;
}

bool playout_delay::is_usual(std::int64_t lead, double now_s, double jitter_ms) const {
    const double slack_ms = tightest{true, ms_to_tick(now_s), lead}.slack_ms();
    return slack_ms >= least_slack_ms && slack_ms <= excessive_slack_ms + 4 * jitter_ms;
}

playout_delay::wish playout_delay::wanted() const {
    if ((this_span.known && this_span.slack_ms() < least_slack_ms) ||
        (span_before.known && span_before.slack_ms() < least_slack_ms)) {
        return wish::lengthen;
    }
    return excess_ms() > 0 ? wish::shorten : wish::keep;
}

double playout_delay::excess_ms() const {
    if (!this_span.known || !span_before.known) {
        return 0;
    }
    return std::min(this_span.slack_ms(), span_before.slack_ms()) - excessive_slack_ms;
}

void playout_delay::forget() {
    this_span = {};
    span_before = {};
}

} // namespace vocalink
