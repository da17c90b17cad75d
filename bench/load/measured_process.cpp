// SPDX-License-Identifier: GPL-3.0-or-later
// Processor time, memory and placement of a process, from the system's own counters.
#include "load/measured_process.hpp"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <sched.h>
#include <sys/resource.h>

namespace vocalink::bench {

namespace {

std::string proc_path(pid_t pid, const char* entry) {
    return "/proc/" + std::to_string(pid) + "/" + entry;
}

/** Sum of the lines of smaps_rollup whose name begins so, in bytes. */
std::int64_t memory_sum(pid_t pid, const std::string& name_start) {
    std::ifstream rollup(proc_path(pid, "smaps_rollup"));
    if (!rollup) {
        throw std::runtime_error("no memory figures for process " + std::to_string(pid));
    }
    std::int64_t kilobytes = 0;
    for (std::string line; std::getline(rollup, line);) {
        if (line.rfind(name_start, 0) == 0) {
            kilobytes += std::atoll(line.c_str() + line.find(':') + 1);
        }
    }
    return kilobytes * 1024;
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

double first_thread_cpu_seconds(pid_t pid) {
    // Processor clocks of single threads are out of reach for other processes; this is not.
    std::ifstream counts(proc_path(pid, "task/") + std::to_string(pid) + "/schedstat");
    std::int64_t on_processor_ns = 0;
    if (!(counts >> on_processor_ns)) {
        throw std::runtime_error("no schedule statistics of process " + std::to_string(pid));
    }
    return 1e-9 * static_cast<double>(on_processor_ns);
}

core_plan plan_cores() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) {
        throw std::system_error(errno, std::generic_category(), "sched_getaffinity");
    }
    std::vector<int> cores;
    for (int core = 0; core < CPU_SETSIZE; ++core) {
        if (CPU_ISSET(core, &allowed)) {
            cores.push_back(core);
        }
    }
    return {cores.front(), cores.back()};
}

void pin_to_core(pid_t pid, int core) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(core, &one);
    for (const auto& task : std::filesystem::directory_iterator(proc_path(pid, "task"))) {
        const pid_t thread = std::atoi(task.path().filename().c_str());
        if (sched_setaffinity(thread, sizeof one, &one) != 0) {
            throw std::system_error(errno, std::generic_category(), "sched_setaffinity");
        }
    }
}

void raise_descriptor_limit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

std::int64_t private_bytes(pid_t pid) {
    return memory_sum(pid, "Private_");
}

std::int64_t resident_bytes(pid_t pid) {
    return memory_sum(pid, "Rss:");
}

int open_descriptors(pid_t pid) {
    int count = 0;
    for ([[maybe_unused]] const auto& entry :
         std::filesystem::directory_iterator(proc_path(pid, "fd"))) {
        ++count;
    }
    return count;
}

paused_process::paused_process(pid_t paused) : pid(paused) {
    kill(pid, SIGSTOP);
}

paused_process::~paused_process() {
    kill(pid, SIGCONT);
}

} // namespace vocalink::bench
