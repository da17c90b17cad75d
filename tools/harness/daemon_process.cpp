// SPDX-License-Identifier: GPL-3.0-or-later
// Starting, watching and ending the daemon under test.
#include "harness/daemon_process.hpp"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vocalink::harness {

namespace {

/** The child's side of the fork: only calls that are safe there, and no way back. */
[[noreturn]] void become(char* const* arguments, const char* log_path, pid_t parent) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::close(STDIN_FILENO); // open() takes the lowest number that is free
    ::close(STDOUT_FILENO);
    if (::getppid() == parent && ::open("/dev/null", O_RDONLY) == STDIN_FILENO &&
        ::open(log_path, O_WRONLY | O_CREAT | O_APPEND, 0600) == STDOUT_FILENO &&
        ::dup2(STDOUT_FILENO, STDERR_FILENO) == STDERR_FILENO) {
        ::execv(arguments[0], arguments);
    }
    ::_exit(127);
}

pid_t spawn(std::vector<std::string> words, const std::string& log_path) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child == 0) {
        become(arguments.data(), log_path.c_str(), parent);
    }
    if (child < 0) {
        throw_system_error("cannot fork");
    }
    return child;
}

/** Whether the daemon's thread that writes the log has nothing left to write, or is gone. */
bool log_is_written(pid_t process) {
    std::error_code gone;
    const std::string tasks = "/proc/" + std::to_string(process) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(tasks, gone)) {
        std::ifstream file(task.path() / "stat"); // "42 (log) S ...": number, name, state
        std::string number, name, state;
        if (file >> number >> name >> state && name == "(log)") {
            return state == "S";
        }
    }
    return true;
}

} // namespace

daemon_process::daemon_process(const std::vector<std::string>& extra_arguments) {
    const char* chosen = std::getenv("VOCALINK_EXECUTABLE");
    const std::string& home = directory_path();
    const std::string program = chosen != nullptr ? chosen : VOCALINK_EXECUTABLE_PATH;
    std::vector<std::string> words{program, "-s", socket_path(), "-a", home, "-l", home};
    words.insert(words.end(), extra_arguments.begin(), extra_arguments.end());
    child = spawn(words, log_path);
    if (!wait_for_log("-- main: entering event loop\n", milliseconds(20000))) {
        kill_and_complain("the daemon did not enter its event loop");
    }
}

daemon_process::~daemon_process() {
    try {
        stop();
    } catch (const std::exception&) {
        // It has been killed; whoever wants to know of it calls stop().
    }
}

int daemon_process::stop() {
    if (!ended()) {
        ::kill(child, SIGINT);
    }
    if (!eventually([this] { return ended(); }, milliseconds(10000))) {
        kill_and_complain("the daemon did not end within 10 s of SIGINT");
    }
    return *exit_status;
}

void daemon_process::kill_and_complain(const std::string& complaint) {
    if (!ended()) {
        ::kill(child, SIGKILL);
    }
    (void)eventually([this] { return ended(); });
    throw std::runtime_error(complaint + "; its log:\n" + log());
}

bool daemon_process::ended() {
    int status = 0;
    if (!exit_status && ::waitpid(child, &status, WNOHANG) == child) {
        exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    return exit_status.has_value();
}

bool daemon_process::wait_for_log(const std::string& text, milliseconds timeout) {
    const auto logged = [&] { return log().find(text) != std::string::npos; };
    (void)eventually([&] { return logged() || ended(); }, timeout);
    return logged(); // an ended daemon may have written it last
}

std::string daemon_process::log() const {
    if (!exit_status && child > 0) {
        (void)eventually([this] { return log_is_written(child); }, milliseconds(1000));
    }
    std::ifstream file(log_path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace vocalink::harness
