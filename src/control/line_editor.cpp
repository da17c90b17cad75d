// SPDX-License-Identifier: GPL-3.0-or-later
// The terminal's line editing, by libedit.
#include "control/line_editor.hpp"

#include "control/remote_terminal.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <editline/readline.h>

namespace vocalink {

namespace {

// libedit calls functions without an argument of ours.
remote_terminal* user = nullptr;
std::vector<std::string> matches; // of the word being completed

void install();

void take_line(char* line) {
    const std::unique_ptr<char, decltype(&std::free)> owned(line, &std::free);
    if (line != nullptr && *line != '\0') {
        add_history(line);
    }
    user->take_entered(line);
    if (line != nullptr) {
        install(); // libedit edits one line, and then gives the terminal its own modes back
    }
}

void install() {
    rl_callback_handler_install("> ", take_line);
}

/** @return the match of that number for libedit to free, or null behind the last */
char* next_match(const char*, int number) {
    const auto index = static_cast<std::size_t>(number);
    return index < matches.size() ? ::strdup(matches[index].c_str()) : nullptr;
}

char* generate_match(const char* word, int state) {
    static int number = 0;
    number = state == 0 ? 0 : number + 1;
    return next_match(word, number);
}

char** complete(const char* word, int begin, int) {
    rl_attempted_completion_over = 1; // never a file name
    const std::string_view before(rl_line_buffer, static_cast<std::size_t>(begin));
    matches.clear();
    for (std::string& candidate :
         user->candidates(before.find_first_not_of(' ') == std::string_view::npos)) {
        if (candidate.starts_with(word)) {
            matches.push_back(std::move(candidate));
        }
    }
    return rl_completion_matches(word, generate_match);
}

} // namespace

line_editor::line_editor(remote_terminal& line_user) {
    static char blank[] = " ";
    user = &line_user;
    rl_readline_name = "vocalink";
    rl_completer_word_break_characters = blank;
    rl_attempted_completion_function = complete;
    using_history();
    install();
}

line_editor::~line_editor() {
    rl_callback_handler_remove();
    user = nullptr;
}

void line_editor::read_key() {
    rl_callback_read_char();
}

void line_editor::leave_line() {
    std::fputs("\r\x1b[K", stdout);
    std::fflush(stdout);
}

void line_editor::show_line() {
    rl_forced_update_display();
}

} // namespace vocalink
