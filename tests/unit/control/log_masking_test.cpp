// SPDX-License-Identifier: GPL-3.0-or-later
// Which words of a command are hidden in the log.
#include "control/log_masking.hpp"
#include "util/text.hpp"

#include <gtest/gtest.h>

namespace vocalink {
namespace {

log_mask mask_of(const std::string& line) {
    word_list words;
    util::parse_args(line.c_str(), words, '\0');
    return log_mask(words);
}

TEST(log_mask, hides_what_may_be_a_key_and_shows_all_else) {
    const std::string raw(30, 'r'), text(40, 't'), other(20, 'o'), keys = raw + " " + text;
    const std::pair<std::string, std::string> rows[] = {
        {"set stream b encryption " + keys, "set stream b encryption **** ****"},
        {"set stream b encryption short " + other, "set stream b encryption **** ****"},
        {"set stream b \"encryption x\" y", "set stream b **** ****"},
        {"set b encryption a \"b c\"", "set b encryption **** ****"},
        {"Set stream b Encryption " + keys, "Set stream b Encryption **** ****"},
        {"set stream b restricted encryption " + raw, "set stream b restricted encryption ****"},
        {"set stream b targets \"b encryption " + keys, "set stream b targets ****"},
        {"set stream \"b encryption " + keys, "set stream ****"},
        {"set \"stream b encryption " + keys, "set ****"},
        {"set stream b\\ encryption " + keys, "set stream b encryption **** ****"},
        {"clear stream b encryption " + keys, "clear stream b **** **** ****"},
        {"\"set stream b encryption " + raw + "\"", "****"},
        {other + " " + raw, "**** ****"},
        {"tion " + raw.substr(0, 15) + "\"\"" + raw + "x " + text, "tion **** ****"},
        {"set  stream \"b c\" endpoint " + raw, ""},
        {"set stream b sources " + text + " " + raw, ""},
        {"new rtp_stream " + raw + " \"" + text + "\"", ""},
        {"play tone encryption 12", ""},
        {"unknown words " + other, ""}};
    for (const auto& [line, masked] : rows) {
        EXPECT_EQ(mask_of(line).line(line), masked.empty() ? line : masked);
    }
}

TEST(log_mask, leaves_replies_readable_whatever_short_words_are_hidden) {
    const std::string key(40, 'k'), stars = "set stream a * * * * * * * * * * * * * * * * * * * *";
    const log_mask mask = mask_of("set stream a encryption e r");
    EXPECT_TRUE(mask.hides("e"));
    EXPECT_FALSE(mask.hides("encryption"));
    EXPECT_EQ(mask.reply("ERROR send_key must be 30"), "ERROR send_key must be 30");
    EXPECT_EQ(mask.reply("stream '" + key + "' is"), "stream **** is");
    EXPECT_EQ(mask_of("show streams").reply("SUCCESS " + key), "SUCCESS " + key);
    EXPECT_EQ(mask_of(stars).reply(stars), stars);
}

} // namespace
} // namespace vocalink
