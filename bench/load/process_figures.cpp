// SPDX-License-Identifier: GPL-3.0-or-later
// Processor time, memory and placement of a process, from the system's own counters.
#include "load/process_figures.hpp"

#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <sched.h>
#include <unistd.h>

namespace vocalink::bench {

namespace {

std::string proc_path(pid_t pid, const std::string& entry) {
    return "/proc/" + std::to_string(pid) + "/" + entry;
}

} // namespace

double cpu_seconds(pid_t pid) {
    clockid_t clock{};
    timespec used{};
    if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &used) != 0) {
        throw std::runtime_error("process " + std::to_string(pid) + " is gone");
    }
    return static_cast<double>(used.tv_sec) + 1e-9 * static_cast<double>(used.tv_nsec);
}

double loop_cpu_seconds(pid_t pid) {
    // Processor clocks of single threads are out of reach for other processes; this is not.
    double on_processor_ns = 0;
    std::ifstream(proc_path(pid, "task/" + std::to_string(pid) + "/schedstat")) >> on_processor_ns;
    return 1e-9 * on_processor_ns;
}

double machine_busy_seconds() {
    std::ifstream stat("/proc/stat");
    std::string name;
    stat >> name;
    double busy = 0, ticks = 0;
    for (int column = 0; column < 7 && stat >> ticks; ++column) {
        busy += column == 3 || column == 4 ? 0 : ticks; // idle, waiting for input and output
    }
    return busy / static_cast<double>(sysconf(_SC_CLK_TCK));
}

void pin(pid_t pid, role part) {
    static const cpu_set_t allowed = [] {
        cpu_set_t at_start;
        sched_getaffinity(0, sizeof at_start, &at_start);
        return at_start;
    }();
    int core = part == role::generator ? 0 : CPU_SETSIZE - 1;
    while (!CPU_ISSET(core, &allowed)) {
        core += part == role::generator ? 1 : -1;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(core, &one);
    for (const auto& task : std::filesystem::directory_iterator(proc_path(pid, "task"))) {
        sched_setaffinity(std::stoi(task.path().filename()), sizeof one, &one);
    }
}

std::int64_t memory_kib(pid_t pid, const std::string& name_start) {
    std::ifstream account(proc_path(pid, "smaps_rollup"));
    std::int64_t sum = 0;
    for (std::string line; std::getline(account, line);) {
        if (line.starts_with(name_start)) {
            sum += std::stoll(line.substr(line.find(':') + 1));
        }
    }
    return sum;
}

int open_descriptors(pid_t pid) {
    const std::filesystem::directory_iterator entries(proc_path(pid, "fd"));
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

} // namespace vocalink::bench
