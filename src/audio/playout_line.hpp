// SPDX-License-Identifier: GPL-3.0-or-later
// Decoded samples of one speaker between the decoder and the tick, in one unbroken wave.
#pragma once

#include "audio/frame.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace vocalink {

/** How well a wave fits onto itself, and where. */
struct splice_match {
    int lag = 0;         // samples between the two places
    float likeness = -1; // 1: the same shape; 0: unrelated
    bool quiet = false;  // too soft to hear what is done to it
};

/** Samples that are decoded and not yet played. The wave has no jumps: where two pieces meet that do
 *  not belong together, one fades into the other. Keeps a few played samples to compare with. Samples
 *  are decoded into the line and played from it; they move only every few ticks. Belongs to one
 *  playout buffer. */
class playout_line {
  public:
    /** Samples over which one piece fades into another that does not fit it: 5 ms. */
    static constexpr int joint_samples = 40;

    /** Samples that a splice overlaps, and the most that it takes out or puts in: 10 ms. */
    static constexpr int splice_overlap = 80;
    static constexpr int max_splice = 80;
    static constexpr int min_splice = 40;

    /** Samples that are kept after they were played. */
    static constexpr int history_samples = 280;

    [[nodiscard]] int unplayed() const;

    /** Room for more samples at the end, to be written and then taken up by grow(). There is room for
     *  a whole packet while less than 400 wait. */
    [[nodiscard]] std::span<std::int16_t> room(int samples);
    void grow(int samples);

    /** Adds samples at the end. */
    void append(std::span<const std::int16_t> samples);
    void append_silence(int samples);

    /** Takes samples off the end; what is appended next fades in over the first of them. */
    void cut_end(int samples);

    /** Takes samples off the beginning; what follows fades in over the first of them. */
    void cut_begin(int samples);

    /** Gives the last samples of the line, played or not. */
    void copy_last(std::span<std::int16_t, history_samples> last) const;

    /** Whether a cut waits for something to fade in. */
    [[nodiscard]] bool has_loose_end() const;

    /** Plays the next 20 ms, which wait. */
    void take();

    /** What take() played last. Valid until something is added. */
    [[nodiscard]] std::span<const std::int16_t, voice_frame_samples> taken() const;

    /** Where the samples that come next resemble those shortly after (to leave some out), or those
     *  shortly before (to repeat some). Needs splice_overlap samples, and to leave some out
     *  max_splice more. */
    [[nodiscard]] splice_match match_after() const;
    [[nodiscard]] splice_match match_before() const;

    /** Continues lag samples later, or earlier, where match_after() or match_before() said. */
    void leave_out(int lag);
    void repeat(int lag);

  private:
    static constexpr int max_unplayed = 400 + max_voice_packet_samples;

    /** Where the unplayed samples begin at first: with room for the history, on a cache line. */
    static constexpr int first_begin = 288;
    static_assert(first_begin >= history_samples);
    /** They are moved back from here on: seldom, and before the line has wandered over much memory. */
    static constexpr int furthest_begin = first_begin + 4 * voice_frame_samples;

    struct storage {
        alignas(64) std::array<std::int16_t, furthest_begin + max_unplayed> samples{};
        std::array<std::int16_t, joint_samples> loose_end{}; // what would have come, fading out
    };

    [[nodiscard]] std::int16_t* next();
    [[nodiscard]] const std::int16_t* next() const;
    [[nodiscard]] splice_match match(int direction) const;
    void move_back();
    void splice(int distance);
    void loosen(const std::int16_t* from, int samples);
    void fade_loose_end_into(std::int16_t* samples, int count);

    std::unique_ptr<storage> stored = std::make_unique<storage>();
    int begin = first_begin; // of the unplayed samples; played ones stand before
    int waiting = 0;
    int loose_samples = 0;
};

} // namespace vocalink
