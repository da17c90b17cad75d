// SPDX-License-Identifier: GPL-3.0-or-later
// The ids in a daemon's listings.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vocalink {

/** The ids in the reply to "list streams", as far as it tells them. */
[[nodiscard]] std::vector<std::string> listed_stream_ids(std::string_view reply);

/** The ids in the reply to "list bridges". */
[[nodiscard]] std::vector<std::string> listed_bridge_ids(std::string_view reply);

} // namespace vocalink
