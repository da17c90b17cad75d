// SPDX-License-Identifier: GPL-3.0-or-later
// Command lines from bytes, their masks in the log, turns, and ids from listings.
#include "control/chunk_framing.hpp"
#include "control/command_turns.hpp"
#include "control/line_framing.hpp"
#include "control/listed_ids.hpp"
#include "control/log_masking.hpp"
#include "unit_test.hpp"
#include "util/text.hpp"

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

TEST(chunk_framing, cuts_each_chunk_into_lines_and_takes_its_last_byte_for_a_line_end) {
    const std::pair<std::string, lines> chunks[] = {
        {"a\nb b\n", {"|a", "|b b"}},
        {"\n\n\na\n", {"|a"}},
        {"recoverX", {"|recover"}},
        {"reco", {"|rec"}}, // a command in two chunks is two commands
        {"ver\r\n", {"|ver\r"}},
        {"   \n", {"|   "}},
        {std::string("a\0b\nc\n", 6), {"|a"}}}; // NUL ends the chunk
    chunk_framing policy;
    for (const auto& [chunk, expected] : chunks) {
        EXPECT_EQ(lines_after(policy, chunk), expected);
    }
}

TEST(chunk_framing, hands_the_bytes_behind_a_line_to_the_policy_that_follows) {
    chunk_framing chunks;
    chunks.take("first\nsecond\nthi");
    EXPECT_EQ(chunks.next_line()->text, "first");
    EXPECT_EQ(chunks.rest(), "second\nthi");
    EXPECT_EQ(lines_of(chunks), (lines{"|second", "|th"}));
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

using namespace std::chrono_literals;

/** Does pieces of work that take the given time, and writes its name down for each. */
struct worker : turn_taker {
    worker(char own_name, int pieces, std::string& written)
        : name(own_name), left(pieces), journal(written) {}
    bool take_turn() override {
        journal += name;
        const auto end = std::chrono::steady_clock::now() + 1ms;
        while (std::chrono::steady_clock::now() < end) {
        }
        return --left > 0;
    }

    char name;
    int left;
    std::string& journal;
};

TEST(command_turns, gives_everybody_one_piece_in_turn_within_one_budget) {
    std::string journal;
    worker a('a', 3, journal), b('b', 1, journal), c('c', 2, journal), gone('x', 1, journal);
    command_turns turns(2ms);
    for (worker* each : {&a, &b, &gone, &c}) {
        turns.add(*each);
    }
    turns.remove(gone);
    EXPECT_EQ(journal, "") << "a turn never comes within add()";
    turns.run();
    EXPECT_LE(journal.size(), 2U);
    turns.run();
    EXPECT_LE(journal.size(), 2U) << "the budget is that of the whole iteration";
    EXPECT_FALSE(turns.has_time());
    ev_run(ev_default_loop(0), EVRUN_NOWAIT);
    EXPECT_LE(journal.size(), 4U);
    ev_run(ev_default_loop(0), 0); // ends when nobody is queued
    EXPECT_EQ(journal, "abcaca");
}

TEST(listed_ids, are_found_behind_escapes_and_between_entries_without) {
    using ids = std::vector<std::string>;
    const std::string anna = R"((anna\,\(2\),0,127.000.000.001,6000,127.000.000.001,4000))";
    EXPECT_EQ(listed_stream_ids("SUCCESS (FIXME)," + anna + ",(),(b,0,,soundstream,fileloop)"),
              (ids{"anna,(2)", "b"}));
    EXPECT_EQ(listed_bridge_ids("SUCCESS x,(" + anna + R"(,()),y\,z,())"), (ids{"x", "y,z"}));
    EXPECT_EQ(listed_stream_ids("SUCCESS "), ids{});
    EXPECT_EQ(listed_bridge_ids("ERROR"), ids{});
}

} // namespace
} // namespace vocalink
