// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon's start, run and stop.
#include "control/main.hpp"

#include "util/log_line.hpp"

#include <csignal>

#include <unistd.h>

namespace vocalink {

using util::log_line;

main::main(const char* path) : socket_path(path) {
    sigint_watcher.set<main, &main::handle_sigint>(this);
    sigint_watcher.start(SIGINT);
    setup_listen_socket(path);
    // The recording workers start here, the mover before the file writer.
    listen_watcher.start(listen_fd.get(), ev::READ);
}

int main::run() {
    struct ev_loop* const loop = ev_default_loop(0);
    log_line("main") << "entering event loop";
    ev_run(loop, 0);
    log_line("main") << "exiting event loop";
    return 0;
}

void main::stop() {
    log_line("main") << "shutting down";
    while (!connections.empty()) {
        delete connections.begin()->second; // takes itself out of the map
    }
    listen_watcher.stop();
    accept_retry_timer.stop();
    // The recording workers stop here, the file writer before the mover: it still has files to hand
    // on.
    sigint_watcher.stop();
    ::unlink(socket_path);
    log_line("main") << "shutdown complete.";
}

connection* main::find_connection(const std::string& name) const {
    const auto found = connections.find(name);
    return found == connections.end() ? nullptr : found->second;
}

void main::handle_sigint(ev::sig&, int) {
    log_line("main") << "SIGINT received";
    stop();
}

} // namespace vocalink
