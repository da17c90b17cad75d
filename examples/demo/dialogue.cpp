// SPDX-License-Identifier: GPL-3.0-or-later
// Showing both sides of the control socket.
#include "dialogue.hpp"

#include <iomanip>
#include <iostream>
#include <optional>
#include <stdexcept>

namespace vocalink::demo {

namespace {

constexpr int remark_column = 54;

void show(char direction, const std::string& line, const std::string& remark) {
    std::cout << "  " << direction << ' ' << std::left << std::setw(remark_column) << line;
    if (line.size() > std::size_t{remark_column}) {
        std::cout << "\n    " << std::setw(remark_column) << ' ';
    }
    std::cout << std::right << "  " << remark << std::endl;
}

} // namespace

dialogue::dialogue(const std::string& socket_path) : control(socket_path) {
    show('<', control.greeting(), "the greeting: we are connected");
}

std::string dialogue::say(const std::string& command, const std::string& remark,
                          const std::string& reply_remark) {
    show('>', command, remark);
    std::string reply = control.command(command);
    show('<', reply, reply_remark);
    if (!reply.starts_with("SUCCESS")) {
        throw std::runtime_error("the daemon refused \"" + command + "\": " + reply);
    }
    return reply;
}

void dialogue::hear(const std::string& beginning, const std::string& remark) {
    const std::optional<std::string> notice = control.notice();
    if (!notice) {
        throw std::runtime_error("no notice \"" + beginning + "\" came");
    }
    show('<', *notice, remark);
    if (!notice->starts_with(beginning)) {
        throw std::runtime_error("expected the notice \"" + beginning + "\", but \"" + *notice +
                                 "\" came");
    }
}

} // namespace vocalink::demo
