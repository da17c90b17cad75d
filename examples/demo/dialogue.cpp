// SPDX-License-Identifier: GPL-3.0-or-later
// Showing both sides of the control socket.
#include "dialogue.hpp"

#include <iomanip>
#include <iostream>
#include <stdexcept>

namespace vocalink::demo {

namespace {

constexpr int remark_column = 54;

void show(char direction, const std::string& line, const std::string& remark) {
    std::cout << "  " << direction << ' ' << std::left << std::setw(remark_column) << line
              << std::right << "  " << remark << std::endl;
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

std::optional<std::string> dialogue::hear(const std::string& remark) {
    std::optional<std::string> notice = control.notice();
    if (notice) {
        show('<', *notice, remark);
    }
    return notice;
}

} // namespace vocalink::demo
