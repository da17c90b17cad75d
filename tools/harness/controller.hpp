// SPDX-License-Identifier: GPL-3.0-or-later
// The controlling application's side of the control socket.
#pragma once

#include "harness/waiting.hpp"
#include "util/unique_fd.hpp"

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace vocalink::harness {

/** One connection to the daemon. Lines come and go without their "\n". Notices (lines that begin
 *  with DTMF_, TIMEOUT, CODE DETECT, TONE or REC_, and empty ones) come whenever they like; command() and
 *  notice() keep them and the replies apart. */
class controller {
  public:
    /** Connects and reads the greeting.
     *  @throws std::runtime_error when that does not come within the default time-out */
    explicit controller(const std::string& socket_path);

    /** The first line that the daemon sent. */
    [[nodiscard]] const std::string& greeting() const { return first_line; }

    /** Sends the line with its "\n" in one write and waits for its reply.
     *  @throws std::runtime_error that names the command when none comes */
    std::string command(const std::string& line, milliseconds timeout = default_timeout);

    /** The next notice, one set aside first; nothing when none comes in time.
     *  @throws std::runtime_error when a reply comes that no command asked for */
    std::optional<std::string> notice(milliseconds timeout = default_timeout);

    /** Sends the bytes as they are, in one write where the socket takes them. */
    void send(std::string_view bytes);

    /** The next line of any kind that was not set aside; nothing at the end or when none comes in
     *  time (ended() tells the two apart). */
    std::optional<std::string> read_line(milliseconds timeout = default_timeout) {
        return next_line(ends_after(timeout));
    }

    /** Whether the daemon has closed the connection, as far as has been read. */
    [[nodiscard]] bool ended() const { return end_of_file; }

    /** Ends the connection; nothing else may be called then. */
    void close() { socket.reset(); }

    [[nodiscard]] int fd() const { return socket.get(); }

  private:
    std::optional<std::string> next_line(deadline until);

    util::unique_fd socket;          ///< connected stream socket
    std::string first_line;          ///< the greeting
    std::string unread;              ///< bytes received that do not make a line yet
    std::deque<std::string> notices; ///< notices that came before the reply of a command
    bool end_of_file = false;        ///< the daemon has closed its side
};

/** Whether a line from the daemon is a notice and not the reply to a command. */
[[nodiscard]] bool is_notice(std::string_view line);

/** The port in the reply to a successful "new rtp_stream", which reads "SUCCESS port address".
 *  @throws std::runtime_error with the reply when it is another */
[[nodiscard]] std::uint16_t port_in_reply(const std::string& reply);

} // namespace vocalink::harness
