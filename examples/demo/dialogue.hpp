// SPDX-License-Identifier: GPL-3.0-or-later
// The controlling application's talk with the daemon, shown while it goes on.
#pragma once

#include "harness/controller.hpp"

#include <string>

namespace vocalink::demo {

/** Prints every line that goes over the control socket, with a word on what it does: commands
 *  behind ">", replies and notices behind "<". */
class dialogue {
  public:
    /** Connects and shows the greeting. */
    explicit dialogue(const std::string& socket_path);

    /** Sends a command that must succeed.
     *  @return its reply
     *  @throws std::runtime_error when the reply does not begin with "SUCCESS" */
    std::string say(const std::string& command, const std::string& remark,
                    const std::string& reply_remark = "done");

    /** Waits for the next notice, shows it and checks how it begins.
     *  @throws std::runtime_error when it begins otherwise, or when none comes within the default
     *          time-out */
    void hear(const std::string& beginning, const std::string& remark);

  private:
    harness::controller control;
};

} // namespace vocalink::demo
