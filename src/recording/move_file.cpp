// SPDX-License-Identifier: GPL-3.0-or-later
// Moving a file so that it is whole wherever it has a name.
#include "recording/move_file.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

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

/** Whether the file has left its place: mv removes it only after a whole copy. Its exit status does
 *  not tell, for the event loop reaps every child and may have been faster. */
bool is_gone(const std::string& path) {
    return ::access(path.c_str(), F_OK) != 0 && errno == ENOENT;
}

/** Runs mv and waits for it. @return 0, whatever its exit status, or an error number */
int run_mv(const std::string& source, const std::string& destination) {
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
            return 0;
        }
        if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

/** Renames within one file system, where the name is free. @return 0 or the error number */
int rename_unless_taken(const std::string& source, const std::string& destination) {
    if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) ==
        0) {
        return 0;
    }
    if (errno != EINVAL) {
        return errno;
    }
    // This file system cannot check and rename in one step.
    if (!is_gone(destination)) {
        return EEXIST;
    }
    return ::rename(source.c_str(), destination.c_str()) == 0 ? 0 : errno;
}

/** A hidden name beside the destination. The end of a long name is what makes it unique. */
std::string name_while_moving(const std::string& destination) {
    constexpr std::size_t longest = 200;
    const std::size_t name_at = destination.rfind('/') + 1;
    const std::size_t kept_at =
        std::max(name_at, destination.size() > longest ? destination.size() - longest : 0);
    return destination.substr(0, name_at) + "." + destination.substr(kept_at) + ".part";
}

/** Copies to a hidden name first, so that the announced one is whole or not there. */
int move_across(const std::string& source, const std::string& destination) {
    if (!is_gone(destination)) {
        return EEXIST;
    }
    const std::string part = name_while_moving(destination);
    if (const int error = run_mv(source, part); error != 0) {
        return error;
    }
    if (!is_gone(source)) {
        ::unlink(part.c_str());
        return 0; // mv has said why
    }
    return rename_unless_taken(part, destination);
}

} // namespace

int move_file(const std::string& source, const std::string& destination) {
    const int error = rename_unless_taken(source, destination);
    return error == EXDEV ? move_across(source, destination) : error;
}

} // namespace vocalink
