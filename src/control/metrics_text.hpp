// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon's figures as Prometheus reads them.
#pragma once

#include "control/metrics_snapshot.hpp"

#include <string>
#include <string_view>

namespace vocalink {

/** All figures in the text exposition format. Any thread.
 *  @param socket  path of the listen socket; a label of every sample, so that the daemons of one host
 *  can be told apart */
[[nodiscard]] std::string metrics_text(const metrics_snapshot& figures, std::string_view socket);

} // namespace vocalink
