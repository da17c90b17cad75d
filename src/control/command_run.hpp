// SPDX-License-Identifier: GPL-3.0-or-later
// One command from its line to its reply.
#pragma once

#include "control/command_result.hpp"
#include "control/commands.hpp"
#include "control/framing.hpp"
#include "control/log_masking.hpp"

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace vocalink {

class connection;

/** Runs the handler of the command that the first word names.
 *  @throws what that handler throws, and command_exception when there is none */
command_handler run_from_table;

/** What commands came to. */
enum command_outcome : std::size_t {
    outcome_success,
    outcome_refused, // "ERROR " and a reason
    outcome_command_error,
    outcome_stream_error,
    outcome_bridge_error,
    command_outcome_count
};

/** Replies of each outcome since the process began. Loop thread. */
[[nodiscard]] const std::array<long long, command_outcome_count>& command_outcomes();

/** Logs a command line, runs its handler, turns exceptions into error replies and logs the reply.
 *  Owned by the connection that received the line, to which it keeps a reference. Loop thread only.
 */
class command_run {
  public:
    /** @param handler  gets all words of the line; by default it finds the command's own handler */
    command_run(connection& sender, const command_line& line,
                command_handler* handler = run_from_table);
    command_run(const command_run&) = delete;
    command_run& operator=(const command_run&) = delete;
    /** Abandons a reply that is still pending. */
    ~command_run();

    /** Does the next part of the command. @return the reply with its newline, once there is one */
    [[nodiscard]] std::optional<std::string> proceed();

    /** Whether the command goes on in steps: its reply is true of the time when it began. */
    [[nodiscard]] bool goes_on() const { return next_step != nullptr; }

    /** Whether there is nothing to do until a pending reply is finished. That calls
     *  connection::handle_finished_reply. */
    [[nodiscard]] bool waits() const { return awaited != nullptr && !awaited->rest; }

  private:
    std::optional<std::string> next_part();
    std::optional<std::string> accept(command_result result);

    connection& caller;
    command_handler* const run;
    const std::string tag; // begins the reply
    word_list words;
    const log_mask mask;
    command_result::step next_step;         // null unless the command goes on in steps
    std::shared_ptr<pending_reply> awaited; // null unless its reply comes later
};

} // namespace vocalink
