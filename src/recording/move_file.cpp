// SPDX-License-Identifier: GPL-3.0-or-later
// Moving a file so that it is whole wherever it has a name.
#include "recording/move_file.hpp"

#include "util/child_process.hpp"
#include "util/retry.hpp"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vocalink {

namespace {

/** Whether the file is gone. mv removes it only after a whole copy. Its exit status may be missing,
 *  because the event loop reaps every child and may have been faster. */
bool is_gone(const std::string& path) {
    return ::access(path.c_str(), F_OK) != 0 && errno == ENOENT;
}

/** Runs mv and waits for it. @return 0, whatever its exit status, or an error number */
int run_mv(const std::string& source, const std::string& destination) {
    pid_t pid = 0;
    if (const int error = util::start_child({.path = "/bin/mv",
                                             .words = {"mv", "--", source, destination},
                                             .own_process_group = true},
                                            pid);
        error != 0) {
        return error;
    }
    int status = 0;
    if (util::retry_on_signal([&] { return ::waitpid(pid, &status, 0); }) < 0 && errno != ECHILD) {
        return errno;
    }
    return 0; // also when the event loop, which reaps every child, was faster
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

/** A hidden directory beside a file, of this process alone. A file in it has its own name, however
 *  long that is. Goes at the end if nothing is left in it. */
class hidden_directory {
  public:
    explicit hidden_directory(const std::string& file)
        : path(file.substr(0, file.rfind('/') + 1) + ".moving-" + std::to_string(::getpid())),
          error(::mkdir(path.c_str(), 0777) == 0 || errno == EEXIST ? 0 : errno) {}
    hidden_directory(const hidden_directory&) = delete;
    hidden_directory& operator=(const hidden_directory&) = delete;
    ~hidden_directory() { ::rmdir(path.c_str()); }

    const std::string path;
    const int error; // 0, or why there is no such directory
};

/** Copies into a hidden directory first, so that the announced file is whole or absent. */
int move_across(const std::string& source, const std::string& destination) {
    if (!is_gone(destination)) {
        return EEXIST;
    }
    const hidden_directory hidden(destination);
    const std::string copy = hidden.path + "/" + destination.substr(destination.rfind('/') + 1);
    if (hidden.error != 0) {
        return hidden.error;
    }
    if (const int error = run_mv(source, copy); error != 0) {
        return error;
    }
    if (!is_gone(source)) {
        ::unlink(copy.c_str());
        return 0; // mv has said why
    }
    const int error = rename_unless_taken(copy, destination);
    if (error != 0) {
        (void)run_mv(copy, source); // the name was taken meanwhile
    }
    return error;
}

} // namespace

int move_file(const std::string& source, const std::string& destination) {
    const int error = rename_unless_taken(source, destination);
    return error == EXDEV ? move_across(source, destination) : error;
}

} // namespace vocalink
