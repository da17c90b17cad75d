// SPDX-License-Identifier: GPL-3.0-or-later
// Lines out of whatever pieces the socket gives.
#include "control/chunk_framing.hpp"
#include "control/line_framing.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace vocalink {
namespace {

/** All lines that are there now, as "tag|text", with "!" before those that are too long. */
std::vector<std::string> lines_of(framing& policy) {
    std::vector<std::string> lines;
    while (const auto line = policy.next_line()) {
        lines.push_back((line->too_long ? "!" : "") + line->tag + "|" + line->text);
    }
    return lines;
}

std::vector<std::string> lines_after(framing& policy, const std::string& received) {
    policy.take(received);
    return lines_of(policy);
}

using lines = std::vector<std::string>;

TEST(chunk_framing, hands_the_bytes_behind_a_line_to_the_policy_that_follows) {
    chunk_framing chunks;
    chunks.take("first\nsecond\nthi");
    EXPECT_EQ(chunks.next_line()->text, "first");
    EXPECT_EQ(chunks.rest(), "second\nthi");
    EXPECT_EQ(lines_of(chunks), (lines{"|second", "|th"}));
    EXPECT_EQ(chunks.rest(), "");
    chunks.take("last\n");
    EXPECT_EQ(chunks.next_line()->text, "last");
    EXPECT_EQ(chunks.rest(), "");
}

TEST(line_framing, joins_pieces_and_takes_any_byte_but_the_line_end) {
    line_framing policy;
    EXPECT_EQ(lines_after(policy, "delete bridge an"), lines{});
    EXPECT_EQ(lines_after(policy, "na12\r"), lines{});
    EXPECT_EQ(policy.rest(), "delete bridge anna12\r");
    EXPECT_EQ(lines_after(policy, "\n\n\r\n \na\rb\n#c\nd"),
              (lines{"|delete bridge anna12", "| ", "|a\rb", "|#c"}));
    EXPECT_EQ(lines_after(policy, std::string("\0e\n", 3)), (lines{std::string("|d\0e", 4)}));
}

TEST(line_framing, refuses_a_line_that_is_too_long_once_and_skips_its_end) {
    const std::string longest(line_framing::longest_line, 'x'), begin = longest.substr(0, 100);
    line_framing policy;
    EXPECT_EQ(lines_after(policy, longest), lines{});
    EXPECT_EQ(lines_after(policy, "\r\n" + longest + "x\nnext\n"),
              (lines{"|" + longest, "!|" + begin, "|next"}));
    EXPECT_EQ(lines_after(policy, longest + "xx"), lines{"!|" + begin});
    EXPECT_EQ(lines_after(policy, longest + "xx"), lines{});
    EXPECT_EQ(policy.rest().size(), 0U) << "nothing of it is kept";
    EXPECT_EQ(lines_after(policy, "end\nnext\n"), lines{"|next"});
    EXPECT_EQ(lines_after(
                  policy,
                  std::string(static_cast<std::size_t>(line_framing::most_blanks) + 1, ' ') + "\n"),
              lines{"!|" + std::string(100, ' ')});
}

TEST(tagged_line_framing, parts_the_tag_from_the_command) {
    tagged_line_framing policy;
    EXPECT_EQ(lines_after(policy, "#7 list  x\nlist\n#8\n# y\n"),
              (lines{"#7 |list  x", "|list", "#8 |", "# |y"}));
    EXPECT_EQ(
        lines_after(policy, "#9 " + std::string(line_framing::longest_line, 'x'))[0].substr(0, 5),
        "!#9 |");
}

} // namespace
} // namespace vocalink
