// SPDX-License-Identifier: GPL-3.0-or-later
// A sound player running beside the daemon, fed through a pipe.
#include "audio/player_pipe.hpp"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

extern char** environ;

namespace vocalink {

namespace {

/** Starts /bin/sh -c command_line with input as its standard input. @return 0 or an error number */
int spawn_shell(const char* command_line, int input) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    // The daemon ignores SIGPIPE; its child should not.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    char shell[] = "sh";
    char option[] = "-c";
    char* const arguments[] = {shell, option, const_cast<char*>(command_line), nullptr};
    pid_t pid = 0;
    const int error = posix_spawn(&pid, "/bin/sh", &actions, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

} // namespace

player_pipe::player_pipe(const char* command_line) {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return;
    }
    const util::unique_fd player_end(ends[0]);
    util::unique_fd own_end(ends[1]);
    ::fcntl(own_end.get(), F_SETFL, O_NONBLOCK); // the player's end stays as players expect it
    if (const int error = spawn_shell(command_line, player_end.get()); error != 0) {
        errno = error;
        return;
    }
    fd = std::move(own_end);
}

bool player_pipe::write(const char* block, std::size_t bytes) {
    return ::write(fd.get(), block, bytes) == static_cast<ssize_t>(bytes);
}

} // namespace vocalink
