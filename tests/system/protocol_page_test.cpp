// SPDX-License-Identifier: GPL-3.0-or-later
// Replays the dialogues of the protocol page, so that the page says what the daemon does.
#include "system_test.hpp"

#include <regex>

namespace vocalink::system_tests {

class protocol_page_test : public system_test {
  protected:
    protocol_page_test() {
        fs::current_path(directory.path());
        fs::create_directory("store");
    }
    ~protocol_page_test() override { fs::current_path(before); }

    /** A daemon of its own for each dialogue. @param options  its further arguments, in words */
    void begin(const std::string& options) {
        legs.clear();
        std::istringstream words(options);
        std::vector<std::string> arguments{"-a", ".", "-l", "store"};
        arguments.insert(arguments.end(), std::istream_iterator<std::string>(words), {});
        start(arguments);
        answer = control->greeting();
    }

    void replay(const std::string& line) {
        static const std::regex page_ip(R"(127\.0\.0\.1|127\.000\.000\.001)");
        const std::string text = std::regex_replace(
            line.substr(std::min(line.size(), std::size_t{2})), page_ip, local_ip);
        if (line.starts_with("> ")) {
            answer = control->command(text);
            add_leg(text);
        } else if (line.starts_with("<")) {
            answer = answer ? answer : control->notice(20s);
            EXPECT_TRUE(answer && matches(*answer, text)) << "came: " << answer.value_or("nothing");
            answer.reset();
        } else if (line.starts_with("| ")) {
            EXPECT_TRUE(eventually([&] { return is_logged(text); })) << daemon->log();
        } else {
            act(line);
        }
    }

  private:
    static bool matches(const std::string& line, const std::string& pattern) {
        static const std::regex special(R"([.^$|()\[\]{}*+?\\])");
        const std::string literal = std::regex_replace(pattern, special, R"(\$&)");
        return std::regex_match(line,
                                std::regex(std::regex_replace(literal, std::regex("…"), "\\S*")));
    }

    [[nodiscard]] bool is_logged(const std::string& pattern) const {
        std::istringstream log(daemon->log());
        std::string line;
        while (std::getline(log, line) && !matches(line, pattern)) {
        }
        return !log.fail();
    }

    /** Gives a new stream its far end. */
    void add_leg(const std::string& command) {
        static const std::regex form(R"(new rtp_stream (\S+) \S+ \S+ (\d+) \S+)");
        std::smatch word;
        if (answer->starts_with("SUCCESS") && std::regex_match(command, word, form)) {
            const auto far_port = static_cast<std::uint16_t>(std::stoi(word[2]));
            legs.emplace(word[1], leg{.id = word[1],
                                      .phone = harness::rtp_peer(local_ip, far_port),
                                      .port = harness::port_in_reply(*answer)});
        }
    }

    /** Does what a line in parentheses says. */
    void act(const std::string& line) {
        static const std::regex form(R"(  \((\S+) (holds|speaks|presses|sends) ?(.*)\))");
        std::smatch word;
        ASSERT_TRUE(std::regex_match(line, word, form)) << "no action: " << line;
        if (word[2] == "holds") {
            std::ofstream(word[1]) << std::string(std::stoul(word[3]), '\xFF');
        } else if (word[2] == "speaks") {
            legs.at(word[1]).send(pcmu, bytes(160, 0x55));
        } else if (word[2] == "presses") {
            const auto event = static_cast<std::uint8_t>(std::stoi(word[3]));
            legs.at(word[1]).send(telephone_event, {event, 10, 0, 160}, true);
            legs.at(word[1]).send(telephone_event, {event, 0x80 | 10, 800 >> 8, 800 & 0xFF});
        } else {
            std::istringstream digits(word[3]);
            bytes payload;
            for (unsigned byte = 0; digits >> std::hex >> byte;) {
                payload.push_back(static_cast<std::uint8_t>(byte));
            }
            legs.at(word[1]).send(pcmu, payload);
        }
    }

    const fs::path before = fs::current_path();
    const harness::temporary_directory directory; ///< where the daemons run
    std::map<std::string, leg> legs;              ///< by the id of their stream
    std::optional<std::string> answer;            ///< that the page has not shown yet
};

TEST_F(protocol_page_test, every_dialogue_comes_true) {
    std::ifstream page(VOCALINK_SOURCE_DIR "/docs/protocol.md");
    const std::string mark = "```dialogue";
    bool inside = false; // a dialogue
    bool fenced = false; // any block
    int dialogues = 0;
    std::string line;
    for (int number = 1; std::getline(page, line); ++number) {
        SCOPED_TRACE("docs/protocol.md:" + std::to_string(number) + ": " + line);
        if (line.starts_with("```")) {
            inside = line.starts_with(mark);
            fenced = !fenced;
            if (inside) {
                dialogues += 1;
                begin(line.substr(mark.size()));
            }
        } else if (inside) {
            replay(line);
        } else if (!fenced) {
            EXPECT_FALSE(line.starts_with("> ") || line.starts_with("< ")) << "not in a dialogue";
        }
    }
    EXPECT_GT(dialogues, 25);
}

} // namespace vocalink::system_tests
