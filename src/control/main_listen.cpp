// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon's listen socket and the accepting of controllers.
#include "control/main.hpp"
#include "util/fatal_error.hpp"
#include "util/log_line.hpp"
#include "util/retry.hpp"
#include "util/text.hpp"

#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vocalink {

using util::error_text;
using util::fatal_error;
using util::log_line;

namespace {

constexpr int listen_backlog = 2;
constexpr double accept_retry_s = 0.25;

/** Removes a socket that an earlier run left at the cut path, which differs from the path as given.
 *  Removes nothing but a socket, because the user never named that path. */
void unlink_stale_socket(const char* cut_path) {
    struct stat facts {};
    if (::lstat(cut_path, &facts) == 0 && S_ISSOCK(facts.st_mode)) {
        ::unlink(cut_path);
    }
}

/** Logs when a live daemon still listens on the socket that is about to be removed. */
void log_live_daemon(const sockaddr_un& address) {
    const util::unique_fd probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ||
        errno == EAGAIN) { // its backlog is full
        log_line("main") << "a daemon that still runs listens on " << address.sun_path
                         << ", taking its place";
    }
}

} // namespace

void main::setup_listen_socket(const char* path) {
    log_line("main") << "listening on socket " << path;
    listen_addr.sun_family = AF_UNIX;
    std::strncpy(listen_addr.sun_path, path, sizeof listen_addr.sun_path - 1);
    log_live_daemon(listen_addr);
    ::unlink(path);
    listen_fd.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!listen_fd) {
        fatal_error(errno, " creating listen socket:");
    }
    const std::size_t length =
        sizeof listen_addr.sun_family + std::strlen(listen_addr.sun_path) + 1;
    unlink_stale_socket(listen_addr.sun_path);
    if (::bind(listen_fd.get(), reinterpret_cast<const sockaddr*>(&listen_addr),
               static_cast<socklen_t>(length)) != 0) {
        fatal_error(errno, " when binding to listen socket: ");
    }
    if (::listen(listen_fd.get(), listen_backlog) != 0) {
        fatal_error(errno, " when listening to listen socket: ");
    }
    ::lstat(listen_addr.sun_path, &bound_socket);
    listen_watcher.set<main, &main::handle_new_connection>(this);
    accept_retry_timer.set<main, &main::resume_accepting>(this);
}

/** Removes the socket file, unless another daemon's now stands at the path. */
void main::remove_socket() {
    struct stat standing {};
    const bool others =
        ::lstat(socket_path, &standing) == 0 && S_ISSOCK(standing.st_mode) &&
        (standing.st_dev != bound_socket.st_dev || standing.st_ino != bound_socket.st_ino);
    if (!others) {
        ::unlink(socket_path);
    }
}

void main::handle_new_connection(ev::io&, int) {
    util::unique_fd accepted(util::retry_on_signal([this] {
        socklen_t length = sizeof listen_addr;
        return ::accept4(listen_fd.get(), reinterpret_cast<sockaddr*>(&listen_addr), &length,
                         SOCK_CLOEXEC);
    }));
    if (!accepted) {
        pause_accepting(errno);
        return;
    }
    accept_failing = false;
    connection_counter += 1;
    const std::string name = util::format("%d", connection_counter);
    auto* const client = new connection(name.c_str(), std::move(accepted), turns);
    client->deleted.connect(this, &main::handle_deleted_connection);
    connections[name] = client;
}

/** Stops accepting for a moment. Without free descriptors the socket stays readable, and the loop
 *  would spin. */
void main::pause_accepting(int error) {
    if (!accept_failing) {
        accept_failing = true;
        log_line("main") << "could not accept a connection: " << error_text(error)
                         << ", trying again";
    }
    listen_watcher.stop();
    accept_retry_timer.start(accept_retry_s);
}

void main::resume_accepting(ev::timer&, int) {
    listen_watcher.start();
}

void main::handle_deleted_connection(std::string name) {
    connections.erase(name);
}

} // namespace vocalink
