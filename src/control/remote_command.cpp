// SPDX-License-Identifier: GPL-3.0-or-later
// The client for scripts: one command, one reply.
#include "control/remote_command.hpp"

#include "control/daemon_socket.hpp"
#include "util/log_line.hpp"
#include "util/retry.hpp"

#include <cstdio>
#include <string>
#include <string_view>

#include <unistd.h>

namespace vocalink {

namespace {

constexpr std::size_t longest_command = 1'048'575; // with "framing lines", without its line end

/** Reads until a line has come. @return it without its end, or nothing at the end of the input */
std::string read_line(int fd, std::string& unread) {
    char block[4096];
    std::size_t end = unread.find('\n');
    while (end == std::string::npos) {
        const ssize_t received =
            util::retry_on_signal([&] { return ::read(fd, block, sizeof block); });
        if (received <= 0) {
            return {};
        }
        unread.append(block, static_cast<std::size_t>(received));
        end = unread.find('\n');
    }
    std::string line = unread.substr(0, end);
    unread.erase(0, end + 1);
    return line;
}

/** Sends a line. @return the reply, or nothing when none comes */
std::string ask(int fd, const std::string& line, std::string& unread) {
    return write_all(fd, line.data(), line.size()) ? read_line(fd, unread) : std::string();
}

} // namespace

int run_remote_command(const char* socket_path, const char* command) {
    const std::string line = std::string(command) + "\n";
    if (line.size() > longest_command + 1 || line.find('\n') + 1 != line.size()) {
        util::log_line("remote") << "a command is one line of at most " << longest_command
                                 << " bytes";
        return 1;
    }
    const util::unique_fd daemon = connect_to_daemon(socket_path);
    std::string unread;
    std::string reply;
    if (!read_line(daemon.get(), unread).empty() && // the greeting
        !ask(daemon.get(), "framing lines\n", unread).empty()) {
        reply = ask(daemon.get(), line, unread);
    }
    if (reply.empty()) {
        util::log_line("remote") << "the daemon did not reply";
        return 1;
    }
    std::printf("%s\n", reply.c_str());
    return reply.starts_with("ERROR") ? 1 : 0;
}

} // namespace vocalink
