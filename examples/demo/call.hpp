// SPDX-License-Identifier: GPL-3.0-or-later
// What both calls on recorded speech consist of.
#pragma once

#include "hearing.hpp"
#include "leg.hpp"
#include "scenes.hpp"

#include <chrono>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace vocalink::demo {

inline constexpr std::chrono::seconds patience{5}; ///< for what ought to happen at once

/** A telephone with the voice of that name.
 *  @param pause_frames  of silence before the voice */
[[nodiscard]] leg make_leg(const places& where, const std::string& name,
                           const std::string& encoding, std::size_t pause_frames = 0);

/** Has the daemon make the leg's endpoint; the leg calls it from then on. */
void create(dialogue& control, leg& each);

/** All legs say all that they have to say, at once.
 *  @return the 20 ms frames that this took */
std::size_t everyone_speaks(std::span<leg> legs);

/** Whether each leg has heard so many frames. */
[[nodiscard]] bool everyone_heard(std::span<const leg> legs, std::size_t frames);

/** The first leg leaves, all legs are deleted, and then the bridge. */
void end_call(dialogue& control, std::span<leg> legs, const std::string& bridge);

/** Measures, shows, and writes down what was heard. To be called when nothing more is sent.
 *  @param others, mute  see verdict
 *  @return what went wrong, a sentence each */
[[nodiscard]] std::vector<std::string> judge(std::span<leg> legs, const places& where,
                                             const std::string& scene,
                                             const std::vector<voice>& others = {},
                                             const std::set<std::string>& mute = {});

} // namespace vocalink::demo
