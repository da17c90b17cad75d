// SPDX-License-Identifier: GPL-3.0-or-later
// Which words of a command are hidden in the log.
#include "control/log_masking.hpp"
#include "util/text.hpp"

#include <gtest/gtest.h>

namespace vocalink {
namespace {

TEST(log_mask, hides_what_may_be_a_key_and_shows_all_else) {
    const std::string raw(30, 'r'), text(40, 't'), other(20, 'o');
    const std::pair<std::string, std::string> rows[] = {
        {"set stream b encryption " + raw + " " + text, "set stream b encryption **** ****"},
        {"set stream b encryption short " + other, "set stream b encryption **** ****"},
        {"set stream b \"encryption x\" y", "set stream b **** ****"},
        {"set b encryption " + raw + " " + text, "set b encryption **** ****"},
        {"Set stream b encryption " + raw + " " + text, "Set stream b encryption **** ****"},
        {"set encryption " + raw + " " + text, "set encryption **** ****"},
        {"set stream b restricted encryption " + raw, "set stream b restricted encryption ****"},
        {"clear stream b encryption " + raw + " " + text, "clear stream b encryption **** ****"},
        {"\"set stream b encryption " + raw + "\"", "****"},
        {other + " " + raw, "**** ****"},
        {"tion " + raw + " " + text, "tion **** ****"},
        {"set  stream \"b c\" endpoint " + raw, ""},
        {"set stream b sources " + text + " " + raw, ""},
        {"new rtp_stream " + raw + " \"" + text + "\"", ""},
        {"play tone b " + raw, ""},
        {"unknown words " + other, ""}};
    for (const auto& [line, masked] : rows) {
        std::deque<std::string> words;
        util::parse_args(line.c_str(), words, '\0');
        EXPECT_EQ(log_mask(words).line(line.c_str()), masked.empty() ? line : masked);
    }
    const log_mask mask({"set", "stream", "b", text, raw});
    EXPECT_EQ(mask.text("unknown '" + text + "' " + raw + text), "unknown '****' ********");
    EXPECT_EQ(mask.text("nothing"), "nothing");
}

} // namespace
} // namespace vocalink
