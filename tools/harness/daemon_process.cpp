// SPDX-License-Identifier: GPL-3.0-or-later
// Starting, watching and ending the daemon under test.
#include "harness/daemon_process.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace vocalink::harness {

namespace {

constexpr milliseconds start_timeout{20000};
constexpr milliseconds stop_timeout{10000};
constexpr std::size_t tail_lines = 25;

std::string executable_path() {
    const char* chosen = std::getenv("VOCALINK_EXECUTABLE");
    return chosen != nullptr && *chosen != '\0' ? chosen : VOCALINK_EXECUTABLE_PATH;
}

/** The child's side of the fork: only calls that are safe there, and no way back. */
[[noreturn]] void become(char* const* arguments, int log_fd, pid_t parent) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int null_fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (::getppid() == parent && ::dup2(null_fd, STDIN_FILENO) >= 0 &&
        ::dup2(log_fd, STDOUT_FILENO) >= 0 && ::dup2(log_fd, STDERR_FILENO) >= 0) {
        ::execv(arguments[0], arguments);
    }
    ::_exit(127);
}

} // namespace

daemon_process::daemon_process(std::vector<std::string> extra_arguments)
    : socket(directory.path() + "/control"), log_path(directory.path() + "/log") {
    const std::string& home = directory.path();
    std::vector<std::string> arguments{executable_path(), "-s", socket, "-a", home, "-l", home};
    arguments.insert(arguments.end(), extra_arguments.begin(), extra_arguments.end());
    spawn(arguments);
    if (!wait_for_log("-- main: entering event loop\n", start_timeout)) {
        const std::string seen = log_tail();
        kill();
        throw std::runtime_error("the daemon " + arguments[0] + " did not start: expected " +
                                 "\"-- main: entering event loop\" in its log, which reads:\n" +
                                 seen);
    }
}

daemon_process::~daemon_process() {
    try {
        stop();
    } catch (const std::exception&) {
        // stop() has killed it already; whoever wants to know calls stop() himself.
    }
}

void daemon_process::spawn(const std::vector<std::string>& arguments) {
    const descriptor log_file(
        ::open(log_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    if (log_file.get() < 0) {
        throw_system_error("cannot create " + log_path);
    }
    log_watch = descriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    if (::inotify_add_watch(log_watch.get(), log_path.c_str(), IN_MODIFY) < 0) {
        throw_system_error("cannot watch " + log_path);
    }
    std::vector<char*> words;
    words.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    const pid_t parent = ::getpid();
    child = ::fork();
    if (child < 0) {
        throw_system_error("cannot fork");
    }
    if (child == 0) {
        become(words.data(), log_file.get(), parent);
    }
    process_watch = descriptor(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    if (process_watch.get() < 0) {
        const int reason = errno;
        kill();
        errno = reason;
        throw_system_error("cannot watch the daemon's process");
    }
}

int daemon_process::stop() {
    interrupt();
    if (!wait_for_end(stop_timeout)) {
        const std::string seen = log_tail();
        kill();
        throw std::runtime_error("the daemon did not end within 10 s of SIGINT; its log ends:\n" +
                                 seen);
    }
    return *exit_status;
}

void daemon_process::interrupt() const {
    if (!exit_status && child > 0) {
        ::kill(child, SIGINT);
    }
}

void daemon_process::kill() {
    if (!exit_status && child > 0) {
        ::kill(child, SIGKILL);
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        exit_status = 128 + SIGKILL;
    }
}

bool daemon_process::running() {
    int status = 0;
    if (!exit_status && child > 0 && ::waitpid(child, &status, WNOHANG) == child) {
        exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    return !exit_status && child > 0;
}

bool daemon_process::wait_for_end(milliseconds timeout) {
    const deadline until(timeout);
    while (running()) {
        if (!wait_readable(process_watch.get(), until)) {
            return !running();
        }
    }
    return true;
}

bool daemon_process::wait_for_log(const std::string& text, milliseconds timeout,
                                  std::size_t skip_bytes) {
    const deadline until(timeout);
    for (;;) {
        // Asked before the log is read: what an ended daemon wrote last is then in it.
        const bool last_look = !running() || until.passed();
        const std::string so_far = log();
        if (so_far.find(text, std::min(skip_bytes, so_far.size())) != std::string::npos) {
            return true;
        }
        if (last_look) {
            return false;
        }
        wait_for_change(until);
    }
}

void daemon_process::wait_for_change(const deadline& until) const {
    std::array<pollfd, 2> waited{pollfd{log_watch.get(), POLLIN, 0},
                                 pollfd{process_watch.get(), POLLIN, 0}};
    if (::poll(waited.data(), waited.size(), static_cast<int>(until.left().count())) > 0) {
        alignas(inotify_event) std::array<char, 4096> events;
        while (::read(log_watch.get(), events.data(), events.size()) > 0) {
        }
    }
}

std::string daemon_process::log() const {
    std::ifstream file(log_path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string daemon_process::log_tail() const {
    std::string whole = log();
    std::size_t begin = whole.size();
    for (std::size_t lines = 0; begin > 0 && lines <= tail_lines; ++lines) {
        const std::size_t newline = whole.rfind('\n', begin - 1);
        if (newline == std::string::npos) {
            return whole;
        }
        begin = newline;
    }
    return whole.substr(begin);
}

} // namespace vocalink::harness
