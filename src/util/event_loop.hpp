// SPDX-License-Identifier: GPL-3.0-or-later
// The default event loop, as everything on the loop thread sees it.
#pragma once

#include <ev++.h>

namespace vocalink::util {

/** The loop's clock in seconds: the time at which the running callback's batch began. No system
 *  call. */
[[nodiscard]] inline double loop_now() {
    return ev::get_default_loop().now();
}

} // namespace vocalink::util
