// SPDX-License-Identifier: GPL-3.0-or-later
// Who heard whom, measured, shown and judged.
#pragma once

#include "leg.hpp"

#include <set>
#include <span>
#include <string>
#include <vector>

namespace vocalink::demo {

/** A voice counts as heard from this likeness on. With five voices at once those present measure
 *  0.3 and more in every codec used here, those absent 0.06 at most. */
inline constexpr double heard_from_likeness = 0.15;

/** Somebody, or something, that the legs of a call may have heard. */
struct voice {
    std::string name;
    sound said;
};

/** What one leg heard of every voice of its call, its own included, in the voices' order. */
struct hearing {
    double level_dbfs = 0;
    std::vector<double> likenesses;
};

/** The legs of a call that is over, and what was measured of it. Refers to the legs. */
class verdict {
  public:
    /** @param others  voices in the call that are no legs
     *  @param mute    names of legs that nobody is expected to hear */
    verdict(std::span<const leg> legs, const std::vector<voice>& others,
            std::set<std::string> mute);

    /** Prints a line for each leg: packets, loss, level, and how much of each voice it heard. */
    void print() const;

    /** What is wrong: every leg has to hear every voice that is not mute, and not its own.
     *  @return one sentence, which names the leg, for each fault */
    [[nodiscard]] std::vector<std::string> faults() const;

  private:
    [[nodiscard]] bool expected(std::size_t listener, std::size_t speaker) const;
    [[nodiscard]] bool heard(std::size_t listener, std::size_t speaker) const;
    void print_heading() const;
    void print_leg(std::size_t listener) const;

    std::span<const leg> legs;
    std::vector<voice> voices; ///< the legs' in their order, then the others
    std::set<std::string> mute;
    std::vector<hearing> hearings; ///< one for each leg
};

} // namespace vocalink::demo
