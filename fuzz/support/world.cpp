// SPDX-License-Identifier: GPL-3.0-or-later
// The machine as a target sees it: a clock that is told to go on, and no way out.
#include "support/world.hpp"

#include <srtp2/srtp.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace vocalink::fuzz {

namespace {

constexpr std::int64_t second_ns = 1'000'000'000;
constexpr int tick_ms = 20; // of conferences

std::atomic<std::int64_t> clock_ns = 1'000'000 * second_ns;
std::atomic<std::uint32_t> random_value = 0;
int ticks = -1; // eventfd that stands for every timer descriptor
int untold_ms = 0;

} // namespace

// Never destroyed: the fuzzer ends by exit(), with the workers asleep.
world& world::instance() {
    static world* const only = new world;
    return *only;
}

world::world() : notices(::open("/dev/null", O_WRONLY | O_CLOEXEC)) {
    std::atexit([] { std::filesystem::remove_all(instance().directory()); });
    srtp_init();
    mover.set_out_fd(notices.get());
    mover.start();
    writer.start();
    reader.start();
}

void world::begin() {
    random_value = 0;
}

void world::pass_time(int milliseconds) {
    clock_ns += std::int64_t{milliseconds} * 1'000'000;
    untold_ms += milliseconds;
    const std::uint64_t due = static_cast<unsigned>(untold_ms / tick_ms);
    untold_ms %= tick_ms;
    if (due > 0 && ticks >= 0) {
        (void)!::write(ticks, &due, sizeof due);
    }
    turn();
}

void world::turn() {
    ev_run(ev_default_loop(0), EVRUN_NOWAIT);
}

void world::wait_for_workers() {
    while (writer.get_count() + mover.get_count() + reader.get_count() > 0) {
        std::this_thread::yield();
    }
    turn(); // what they have for the loop
}

void world::clear_directory() {
    for (const auto& file : std::filesystem::directory_iterator(files.path())) {
        std::filesystem::remove_all(file);
    }
}

} // namespace vocalink::fuzz

// What replaces the system's.

using namespace vocalink::fuzz;

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    if (clock != CLOCK_MONOTONIC) {
        return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
    }
    *time = {clock_ns / second_ns, clock_ns % second_ns};
    return 0;
}

extern "C" int getentropy(void* bytes, std::size_t size) {
    const std::uint32_t value = ++random_value * 0x9E3779B1U;
    for (std::size_t i = 0; i < size; ++i) {
        static_cast<unsigned char*>(bytes)[i] = static_cast<unsigned char>(value >> 8 * (i % 4));
    }
    return 0;
}

/** A descriptor that counts ticks as pass_time() makes them due. */
extern "C" int timerfd_create(clockid_t, int) noexcept {
    if (ticks < 0) {
        ticks = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    }
    return ::fcntl(ticks, F_DUPFD_CLOEXEC, 0);
}

extern "C" int timerfd_settime(int, int, const itimerspec*, itimerspec*) noexcept {
    std::uint64_t earlier = 0;
    (void)!::read(ticks, &earlier, sizeof earlier);
    untold_ms = 0;
    return 0;
}

extern "C" ssize_t sendto(int, const void*, std::size_t size, int, const sockaddr*, socklen_t) {
    return static_cast<ssize_t>(size);
}

extern "C" ssize_t sendmsg(int, const msghdr*, int) {
    return 0;
}

extern "C" int posix_spawn(pid_t*, const char*, const posix_spawn_file_actions_t*,
                           const posix_spawnattr_t*, char* const*, char* const*) {
    return EAGAIN;
}
