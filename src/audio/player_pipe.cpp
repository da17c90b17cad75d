// SPDX-License-Identifier: GPL-3.0-or-later
// A sound player running beside the daemon, fed through a pipe.
#include "audio/player_pipe.hpp"

#include "util/child_process.hpp"
#include "util/event_loop.hpp"
#include "util/log_line.hpp"

#include <cerrno>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace vocalink {

namespace {

/** Pipes that wait to start their player, oldest first. */
std::vector<player_pipe*> waiting_pipes;

/** Players that still run after their pipe was closed. */
int ending_players = 0;

} // namespace

/** One started player. It lives until the player has ended, as a rule longer than its pipe. */
class player_process {
  public:
    player_process(pid_t pid, player_pipe& feeding) : pipe(&feeding) {
        watcher.set<player_process, &player_process::ended>(this);
        watcher.start(pid);
        ev::get_default_loop().unref(); // a player that plays on does not keep the daemon
    }
    player_process(const player_process&) = delete;
    player_process& operator=(const player_process&) = delete;
    ~player_process() { ev::get_default_loop().ref(); }

    /** The pipe is about to close. */
    void let_end() {
        pipe = nullptr;
        ending_players += 1;
    }

  private:
    void ended(ev::child&, int) {
        if (pipe != nullptr) {
            pipe->process = nullptr;
        } else {
            ending_players -= 1;
        }
        start_waiting();
        delete this;
    }

    static void start_waiting() {
        if (ending_players > 0) {
            return;
        }
        for (player_pipe* const next : std::exchange(waiting_pipes, {})) {
            next->start();
            if (!next->is_open()) {
                util::log_line() << "could not start the sound player: " << util::error_text(errno);
            }
        }
    }

    player_pipe* pipe; // null once it has been closed
    ev::child watcher;
};

player_pipe::player_pipe(const char* command_line) : command(command_line) {
    if (ending_players > 0) {
        waiting_pipes.push_back(this);
        waiting = true;
    } else {
        start();
    }
}

player_pipe::~player_pipe() {
    std::erase(waiting_pipes, this);
    if (process != nullptr) {
        process->let_end();
    }
}

/** Leaves errno where the player could not be started. */
void player_pipe::start() {
    waiting = false;
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return;
    }
    const util::unique_fd player_end(ends[0]);
    util::unique_fd own_end(ends[1]);
    ::fcntl(own_end.get(), F_SETFL, O_NONBLOCK); // the player's end stays as players expect it
    pid_t pid = 0;
    if (const int error = util::start_child(
            {.path = "/bin/sh", .words = {"sh", "-c", command}, .input = player_end.get()}, pid);
        error != 0) {
        errno = error;
        return;
    }
    process = new player_process(pid, *this); // deletes itself
    fd = std::move(own_end);
}

bool player_pipe::write(const char* block, std::size_t bytes) {
    return fd && ::write(fd.get(), block, bytes) == static_cast<ssize_t>(bytes);
}

} // namespace vocalink
