// SPDX-License-Identifier: GPL-3.0-or-later
// The connection to the daemon's control socket: commands in order, their replies, notices.
#pragma once

#include "event_loop.hpp"
#include "util/unique_fd.hpp"

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace vocalink::dialin {

/** The daemon's answer to one command. */
struct reply {
    bool success;
    std::string_view text; ///< what follows SUCCESS, or the whole line of an error
};

/** What happens on the control connection. */
class link_listener {
  public:
    virtual void link_up() = 0;
    /** Everything that was made over the connection has ended with it. */
    virtual void link_down() = 0;
    virtual void notice(std::string_view line) = 0;

  protected:
    ~link_listener() = default;
};

/** Keeps a connection to the daemon, and comes back with growing pauses when it is lost. Sends
 *  whole lines and never more at once than the daemon reads at once; the rest waits here.
 *  Callbacks may send, and may end calls, but not destroy the link. */
class control_link {
  public:
    using reply_handler = std::function<void(const reply&)>;

    control_link(event_loop& loop, std::string socket_path, link_listener& listener);

    /** True from the daemon's greeting to the loss of the connection. */
    [[nodiscard]] bool up() const { return greeted; }
    /** The oldest command has waited for so long that the daemon is taken for standing still. */
    [[nodiscard]] bool stalled() const;

    /** Sends a command, without its newline. Ignored while the link is down.
     *  @param handler called with the reply; dropped when `alive` has expired or the link is lost */
    void send(std::string line, std::weak_ptr<void> alive, reply_handler handler);
    /** Sends a command whose reply only matters to the log, where an error is written. */
    void send(std::string line);

  private:
    struct command {
        std::string line;
        std::chrono::steady_clock::time_point queued;
        std::weak_ptr<void> alive;
        bool has_handler;
        reply_handler handler;
    };

    void connect();
    void lose(std::string_view reason);
    void close_and_wait();
    void enqueue(command&& entry);
    void send_waiting();
    void readable();
    void take_line(std::string_view line);
    void take_reply(std::string_view line);

    event_loop& loop;
    std::string path;
    link_listener& listener;
    util::unique_fd socket;
    std::unique_ptr<watch> reader; ///< watches `socket`
    timer reconnect;
    timer closing; ///< a watch must not end in its own callback
    unsigned pause_ms;
    bool lost = true; ///< no descriptor, or one that is about to be closed
    bool greeted = false;
    bool reported = false;     ///< the log has said that there is no daemon
    std::string input;         ///< the beginning of a line
    std::deque<command> sent;  ///< commands without a reply yet
    std::deque<command> ready; ///< commands that are not sent yet
    std::size_t sent_bytes = 0;
    std::size_t ready_bytes = 0;
};

} // namespace vocalink::dialin
