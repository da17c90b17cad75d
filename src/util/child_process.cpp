// SPDX-License-Identifier: GPL-3.0-or-later
// Starting another program.
#include "util/child_process.hpp"

#include <csignal>

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

extern char** environ;

namespace vocalink::util {

namespace {

class spawn_attributes {
  public:
    explicit spawn_attributes(bool own_process_group) {
        posix_spawnattr_init(&attributes);
        sigset_t defaults;
        sigset_t blocked;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        sigemptyset(&blocked);
        short flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
        if (own_process_group) {
            sigaddset(&blocked, SIGTTOU);
            posix_spawnattr_setpgroup(&attributes, 0);
            flags |= POSIX_SPAWN_SETPGROUP;
        }
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setsigmask(&attributes, &blocked);
        posix_spawnattr_setflags(&attributes, flags);
    }
    spawn_attributes(const spawn_attributes&) = delete;
    spawn_attributes& operator=(const spawn_attributes&) = delete;
    ~spawn_attributes() { posix_spawnattr_destroy(&attributes); }

    [[nodiscard]] const posix_spawnattr_t* get() const { return &attributes; }

  private:
    posix_spawnattr_t attributes;
};

class spawn_actions {
  public:
    explicit spawn_actions(int input) {
        posix_spawn_file_actions_init(&actions);
        if (input >= 0) {
            posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
        } else {
            posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        }
    }
    spawn_actions(const spawn_actions&) = delete;
    spawn_actions& operator=(const spawn_actions&) = delete;
    ~spawn_actions() { posix_spawn_file_actions_destroy(&actions); }

    [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions; }

  private:
    posix_spawn_file_actions_t actions;
};

} // namespace

int start_child(child_program program, pid_t& pid) {
    const spawn_attributes attributes(program.own_process_group);
    const spawn_actions actions(program.input);
    std::vector<char*> words;
    for (std::string& word : program.words) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    return posix_spawn(&pid, program.path, actions.get(), attributes.get(), words.data(), environ);
}

} // namespace vocalink::util
