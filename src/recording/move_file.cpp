// SPDX-License-Identifier: GPL-3.0-or-later
// Moving a file with the system's own command.
#include "recording/move_file.hpp"

#include <cerrno>
#include <csignal>

#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace vocalink {

namespace {

/** Starts /bin/mv. The workers block every signal and the daemon ignores SIGPIPE; the command starts
 *  with neither, and in a process group of its own. @return 0 or an error number */
int spawn_mv(char* const* arguments, pid_t& pid) {
    sigset_t none;
    sigset_t defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                              POSIX_SPAWN_SETPGROUP);
    const int error = posix_spawn(&pid, "/bin/mv", nullptr, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    return error;
}

} // namespace

int move_file(const std::string& source, const std::string& destination) {
    std::string words[] = {"mv", "--", source, destination};
    char* const arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(),
                               nullptr};
    pid_t pid = 0;
    if (const int error = spawn_mv(arguments, pid); error != 0) {
        return error;
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno == ECHILD) {
            return 0; // the event loop reaps every child and was faster
        }
        if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

} // namespace vocalink
