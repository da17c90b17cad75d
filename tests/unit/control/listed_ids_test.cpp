// SPDX-License-Identifier: GPL-3.0-or-later
// What the client completes ids from.
#include "control/listed_ids.hpp"

#include <gtest/gtest.h>

namespace vocalink {

TEST(listed_ids, are_found_behind_escapes_and_between_entries_without) {
    using ids = std::vector<std::string>;
    const std::string anna = R"((anna\,\(2\),0,127.000.000.001,6000,127.000.000.001,4000))";
    EXPECT_EQ(listed_stream_ids("SUCCESS (FIXME)," + anna + ",(),(b,0,,soundstream,fileloop)"),
              (ids{"anna,(2)", "b"}));
    EXPECT_EQ(listed_bridge_ids("SUCCESS x,(" + anna + R"(,()),y\,z,())"), (ids{"x", "y,z"}));
    EXPECT_EQ(listed_stream_ids("SUCCESS "), ids{});
    EXPECT_EQ(listed_bridge_ids("ERROR"), ids{});
}

} // namespace vocalink
