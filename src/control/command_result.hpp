// SPDX-License-Identifier: GPL-3.0-or-later
// What a command comes to: its reply, further steps, or a reply that a worker owes.
#pragma once

#include "util/signal.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace vocalink {

class command_result;
class owned_objects;

/** A reply that waits for work off the loop. The handler makes one, hands a copy of the pointer to
 *  whoever will call finish(), and returns it. Meanwhile only this controller's further commands
 *  wait. Loop thread only. */
class pending_reply {
  public:
    /** The rest of the command. Looks up streams and bridges again: they may have ended meanwhile.
     *  Returns and throws as a command handler does. */
    using rest_of_command = std::function<command_result(owned_objects& objects)>;

    /** Schedules the rest. It never runs within this call, because it may destroy the caller. It
     *  does not run at all when the controller has gone. */
    void finish(rest_of_command remaining) {
        if (!abandoned && !rest) {
            rest = std::move(remaining);
            finished.emit();
        }
    }

    /** Called when the controller goes before the rest has run. */
    std::function<void()> undo;

  private:
    friend class command_run;

    rest_of_command rest; // set once finished
    bool abandoned = false;
    util::signal0<> finished;
};

/** What a command handler returns. */
class command_result {
  public:
    /** A part of a long command that is short enough for one turn. @return the reply, once done */
    using step = std::function<std::optional<std::string>()>;

    /** The command is done. @param reply  without its line end */
    command_result(std::string reply) : outcome(std::move(reply)) {}
    command_result(const char* reply) : outcome(std::string(reply)) {}
    /** The reply follows when the pending one is finished. */
    command_result(std::shared_ptr<pending_reply> later) : outcome(std::move(later)) {}
    /** Runs one step in each turn until a step returns the reply. Objects may end between two
     *  steps. */
    [[nodiscard]] static command_result in_steps(step next) {
        return command_result(std::move(next), 0);
    }

    std::variant<std::string, step, std::shared_ptr<pending_reply>> outcome;

  private:
    command_result(step next, int) : outcome(std::move(next)) {}
};

} // namespace vocalink
