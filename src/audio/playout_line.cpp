// SPDX-License-Identifier: GPL-3.0-or-later
// Decoded samples of one speaker between the decoder and the tick, in one unbroken wave.
#include "audio/playout_line.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace vocalink {

namespace {

/** Softer than this on average over the overlap, about -56 dB of full scale: a pause. */
constexpr float quiet_level = 50;

/** Fades from one wave to the other, sample i of count. */
std::int16_t faded(std::int16_t from, std::int16_t to, int i, int count) {
    return static_cast<std::int16_t>(from + (to - from) * (i + 1) / (count + 1));
}

float product(const std::int16_t* a, const std::int16_t* b) {
    float sum = 0;
    for (int i = 0; i < playout_line::splice_overlap; ++i) {
        sum += static_cast<float>(a[i]) * static_cast<float>(b[i]);
    }
    return sum;
}

} // namespace

int playout_line::unplayed() const {
    return waiting;
}

std::int16_t* playout_line::next() {
    return stored->samples.data() + begin;
}

const std::int16_t* playout_line::next() const {
    return stored->samples.data() + begin;
}

std::span<std::int16_t> playout_line::room(int count) {
    assert(waiting + count <= max_unplayed);
    move_back();
    return {next() + waiting, static_cast<std::size_t>(count)};
}

void playout_line::move_back() {
    if (begin > furthest_begin) {
        std::copy(next() - history_samples, next() + waiting,
                  stored->samples.begin() + first_begin - history_samples);
        begin = first_begin;
    }
}

void playout_line::grow(int count) {
    fade_loose_end_into(next() + waiting, count);
    waiting += count;
}

void playout_line::append(std::span<const std::int16_t> added) {
    const int count = static_cast<int>(added.size());
    std::copy(added.begin(), added.end(), room(count).begin());
    grow(count);
}

void playout_line::append_silence(int count) {
    std::fill_n(room(count).begin(), count, std::int16_t{0});
    grow(count);
}

void playout_line::cut_end(int count) {
    waiting -= count;
    loosen(next() + waiting, count);
}

void playout_line::cut_begin(int count) {
    loosen(next(), count);
    waiting -= count;
    std::copy_n(next() + count, waiting, next());
    fade_loose_end_into(next(), waiting);
}

void playout_line::copy_last(std::span<std::int16_t, history_samples> last) const {
    std::copy_n(next() + waiting - history_samples, history_samples, last.begin());
}

bool playout_line::has_loose_end() const {
    return loose_samples > 0;
}

void playout_line::loosen(const std::int16_t* from, int count) {
    if (loose_samples == 0) {
        loose_samples = std::min(count, joint_samples);
        std::copy_n(from, loose_samples, stored->loose_end.begin());
    }
}

void playout_line::fade_loose_end_into(std::int16_t* samples, int count) {
    if (count > 0) {
        for (int i = 0; i < std::min(loose_samples, count); ++i) {
            samples[i] = faded(stored->loose_end[i], samples[i], i, loose_samples);
        }
        loose_samples = 0;
    }
}

void playout_line::take() {
    assert(waiting >= voice_frame_samples);
    waiting -= voice_frame_samples;
    begin += voice_frame_samples;
}

std::span<const std::int16_t, voice_frame_samples> playout_line::taken() const {
    return std::span<const std::int16_t, voice_frame_samples>(next() - voice_frame_samples,
                                                              voice_frame_samples);
}

splice_match playout_line::match_after() const {
    return match(1);
}

splice_match playout_line::match_before() const {
    return match(-1);
}

splice_match playout_line::match(int direction) const {
    const std::int16_t* const here = next();
    const float energy = product(here, here);
    splice_match best;
    best.quiet = energy < quiet_level * quiet_level * splice_overlap;
    for (int lag = min_splice; lag <= max_splice; ++lag) {
        const std::int16_t* const there = here + std::ptrdiff_t{direction} * lag;
        const float both = std::sqrt(energy * product(there, there)) + 1;
        const float likeness = product(here, there) / both;
        if (likeness > best.likeness) {
            best.lag = lag;
            best.likeness = likeness;
        }
    }
    return best;
}

void playout_line::leave_out(int lag) {
    splice(lag);
}

void playout_line::repeat(int lag) {
    move_back();
    splice(-lag);
}

void playout_line::splice(int distance) {
    std::array<std::int16_t, splice_overlap> overlap;
    for (int i = 0; i < splice_overlap; ++i) {
        overlap[i] = faded(next()[i], next()[i + distance], i, splice_overlap);
    }
    const std::int16_t* const rest = next() + splice_overlap + distance;
    const std::int16_t* const end = next() + waiting;
    if (distance > 0) {
        std::copy(rest, end, next() + splice_overlap);
    } else {
        std::copy_backward(rest, end, next() + waiting - distance);
    }
    std::copy(overlap.begin(), overlap.end(), next());
    waiting -= distance;
}

} // namespace vocalink
