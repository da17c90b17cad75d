// SPDX-License-Identifier: GPL-3.0-or-later
// The pace of a call: everyone sends every 20 ms, and hears all the time.
#pragma once

#include "leg.hpp"

#include <functional>
#include <span>

namespace vocalink::demo {

/** Calls tick(0) to tick(ticks - 1) at 20 ms intervals that do not drift, while the legs take in
 *  what comes for them. Ends 20 ms after the last. */
void talk(std::span<leg> legs, std::size_t ticks, const std::function<void(std::size_t)>& tick);

/** The legs take in what comes for them until satisfied() or until the time is over.
 *  @return whether satisfied() came true */
bool listen_until(std::span<leg> legs, harness::milliseconds timeout,
                  const std::function<bool()>& satisfied);

/** Has one leg press a key of its telephone for 100 ms, as RFC 4733 has it: a marked packet, more
 *  with growing duration, and the last one three times. */
void press_key(std::span<leg> legs, leg& presser, int event);

} // namespace vocalink::demo
