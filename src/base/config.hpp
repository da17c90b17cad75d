// SPDX-License-Identifier: GPL-3.0-or-later
// The parsed command line, readable from every layer.
#pragma once

namespace vocalink {

/** The options of this process. Strings point into argv or at literals and are not copied.
 *  The instance made last is the one that instance() returns. */
class config {
  public:
    /** Reads -t -r -s -i -l -a -S, each with a value; a later one overrides an earlier one. What
     *  getopt does not know, it reports itself; parsing goes on. Other arguments are ignored. */
    config(int argc, char** argv);

    [[nodiscard]] static const config& instance();

    int timeout_seconds = 30;                              // -t, inactivity time-out
    const char* client_socket_path = "/tmp/vocalink-sock"; // -r, what the client mode connects to
    const char* server_socket_path = nullptr;              // -s, listen socket; selects daemon mode
    const char* work_dir = "/tmp";                         // -a, recordings while they are open
    const char* store_dir = ".";                           // -l, finished recordings
    const char* i_arg = nullptr;                           // -i, accepted and unused
    const char* sound_dir = nullptr; // -S, where sound files must lie; null for anywhere

    /** Period of the inactivity checks in seconds: a sixth of the time-out, in whole seconds. Zero
     *  makes a check that runs once. */
    [[nodiscard]] double idle_check_period() const;

  private:
    static const config* newest;
};

} // namespace vocalink
