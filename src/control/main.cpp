// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon's start, run and stop.
#include "control/main.hpp"

#include "base/config.hpp"
#include "rtp/rtp_ports.hpp"
#include "util/fatal_error.hpp"
#include "util/log_line.hpp"

#include <cerrno>
#include <csignal>

#include <unistd.h>

namespace vocalink {

using util::log_line;

namespace {

void check_port_range() {
    const char* const text = config::instance().port_range;
    if (text != nullptr && !parse_port_range(text)) {
        util::fatal_error(EINVAL, std::string(" in the port range ") + text + ": ");
    }
}

} // namespace

main::main(const char* path) : socket_path(path) {
    check_port_range();
    sigint_watcher.set<main, &main::handle_signal>(this);
    sigint_watcher.start(SIGINT);
    sigterm_watcher.set<main, &main::handle_signal>(this);
    sigterm_watcher.start(SIGTERM);
    setup_listen_socket(path);
    setup_rec_mover_pipe();
    rec_mover.start();
    logger.start();
    sound_reader.start();
    if (const char* const file = config::instance().metrics_file; file != nullptr) {
        reported = std::make_unique<metrics>(file, path, connections);
    }
    listen_watcher.start(listen_fd.get(), ev::READ);
    if (rec_pipe_read_fd) {
        rec_pipe_watcher.start(rec_pipe_read_fd.get(), ev::READ);
    }
}

int main::run() {
    struct ev_loop* const loop = ev_default_loop(0);
    log_line("main") << "entering event loop";
    service_manager.ready();
    ev_run(loop, 0);
    log_line("main") << "exiting event loop";
    return 0;
}

void main::stop() {
    log_line("main") << "shutting down";
    service_manager.stopping();
    while (!connections.empty()) {
        delete connections.begin()->second; // takes itself out of the map
    }
    rec_pipe_watcher.stop();
    listen_watcher.stop();
    accept_retry_timer.stop();
    sound_reader.stop();
    sound_reader.join();
    // With nobody left to be told, the mover must not wait on a full pipe.
    rec_mover.discard_notices();
    rec_pipe_read_fd.reset();
    // The file writer first: it still has files to hand to the mover.
    logger.stop();
    logger.join();
    rec_mover.stop();
    rec_mover.join();
    if (reported) {
        reported->stop();
    }
    ignore_signals();
    remove_socket();
    log_line("main") << "shutdown complete.";
}

connection* main::find_connection(const std::string& name) const {
    const auto found = connections.find(name);
    return found == connections.end() ? nullptr : found->second;
}

void main::handle_signal(ev::sig& signal, int) {
    log_line("main") << (signal.signum == SIGTERM ? "SIGTERM" : "SIGINT") << " received";
    stop();
}

/** Ignores further signals, so that none cuts the shutdown short. They stay blocked while the
 *  watchers stop, because a stopped watcher restores the default, which kills the process. */
void main::ignore_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    sigint_watcher.stop();
    sigterm_watcher.stop();
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGTERM, SIG_IGN);
}

} // namespace vocalink
