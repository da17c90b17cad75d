// SPDX-License-Identifier: GPL-3.0-or-later
// The parsed command line, readable from every layer.
#pragma once

#include "util/newest_instance.hpp"

namespace vocalink {

/** What the command line asks the program to do. */
enum class program_mode { serve, relay, command, help, version };

/** The options of this process. Strings point into argv or at literals and are not copied.
 *  The instance made last is the one that instance() returns. */
class config : public util::newest_instance<const config> {
  public:
    /** Reads -t -r -s -i -l -a -S -p -m -c, each with a value, and -h, -V, --help and --version. A later
     *  option overrides an earlier one. Other arguments are ignored. getopt reports unknown
     *  options, and parsing goes on. Deliberate: docs/behaviours.md#options-without-effect */
    config(int argc, char** argv);

    /** Help and version go before everything, a listen socket before a client's command. */
    [[nodiscard]] program_mode mode() const;

    int timeout_seconds = 30;                              // -t, inactivity time-out
    const char* client_socket_path = "/tmp/vocalink-sock"; // -r, what the client mode connects to
    const char* server_socket_path = nullptr;              // -s, listen socket; selects daemon mode
    const char* work_dir = "/tmp";                         // -a, recordings while they are open
    const char* store_dir = ".";                           // -l, finished recordings
    const char* i_arg = nullptr;                           // -i, accepted and unused
    const char* sound_dir = nullptr;    // -S, where sound files must lie; null for anywhere
    const char* port_range = nullptr;   // -p, FIRST-LAST, local ports to use before any others
    const char* metrics_file = nullptr; // -m, where metrics are written; null for nowhere

    const char* command = nullptr; // -c, what the client sends instead of relaying
    bool help_wanted = false;      // -h, --help
    bool version_wanted = false;   // -V, --version

    /** Period of the inactivity checks in seconds: a sixth of the time-out, in whole seconds.
     *  Zero makes a check that runs once. Deliberate: docs/behaviours.md#short-time-outs */
    [[nodiscard]] double idle_check_period() const;

  private:
    void take_option(int option, const char* value);
};

} // namespace vocalink
