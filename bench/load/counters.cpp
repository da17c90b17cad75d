// SPDX-License-Identifier: GPL-3.0-or-later
// A library to be preloaded into a program: counts its heap allocations, and the system calls that
// cost it time while it moves packets, in a shared file, and times the turns of its event loop. Calls
// inside the C library are not seen.
#include "load/counters.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/uio.h>
#include <unistd.h>

using namespace vocalink::bench;

namespace {

constexpr std::size_t kernel_signal_set_bytes = 8;

using counter = std::atomic<std::uint64_t>;

constinit counter before_the_file[counted_kinds]; // other constructors allocate too
constinit counter* counters = before_the_file;

[[gnu::constructor]] void open_file() {
    const char* path = std::getenv(counter_file_variable);
    const int fd = path == nullptr ? -1 : ::open(path, O_RDWR | O_CLOEXEC);
    void* mapped = mmap(nullptr, sizeof(counter_values), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (mapped != MAP_FAILED) {
        counters = static_cast<counter*>(mapped);
        close(fd);
    }
}

void count(counted_kind kind) {
    counters[kind].fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t thread_time_ns() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 +
           static_cast<std::uint64_t>(time.tv_nsec);
}

} // namespace

// Defines a function of the C library anew: counts the call and passes it on.
#define COUNTED(kind, result, name, parameters, call)                                              \
    result name parameters {                                                                       \
        count(kind);                                                                               \
        return static_cast<result>(call);                                                          \
    }

extern "C" {

// The C library's own allocator under the names it keeps for replacements: looking it up at run
// time would allocate.
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);

// clang-format off
COUNTED(heap_allocations, void*, malloc, (std::size_t bytes), __libc_malloc(bytes))
COUNTED(heap_allocations, void*, calloc, (std::size_t n, std::size_t bytes), __libc_calloc(n, bytes))
COUNTED(heap_allocations, void*, realloc, (void* block, std::size_t bytes), __libc_realloc(block, bytes))
COUNTED(heap_allocations, void*, memalign, (std::size_t to, std::size_t bytes), __libc_memalign(to, bytes))
COUNTED(heap_allocations, void*, aligned_alloc, (std::size_t to, std::size_t bytes), __libc_memalign(to, bytes))
COUNTED(heap_allocations, int, posix_memalign, (void** block, std::size_t to, std::size_t bytes), (*block = __libc_memalign(to, bytes)) == nullptr ? ENOMEM : 0)

COUNTED(file_reads, ssize_t, read, (int fd, void* buffer, std::size_t bytes), syscall(SYS_read, fd, buffer, bytes))
COUNTED(file_reads, ssize_t, readv, (int fd, const iovec* pieces, int n), syscall(SYS_readv, fd, pieces, n))
COUNTED(file_reads, ssize_t, pread, (int fd, void* buffer, std::size_t bytes, off_t at), syscall(SYS_pread64, fd, buffer, bytes, at))
COUNTED(file_reads, ssize_t, pread64, (int fd, void* buffer, std::size_t bytes, off64_t at), syscall(SYS_pread64, fd, buffer, bytes, at))
COUNTED(sends, ssize_t, send, (int fd, const void* buffer, std::size_t bytes, int flags), syscall(SYS_sendto, fd, buffer, bytes, flags, nullptr, 0))
COUNTED(sends, ssize_t, sendto, (int fd, const void* buffer, std::size_t bytes, int flags, const sockaddr* to, socklen_t to_bytes), syscall(SYS_sendto, fd, buffer, bytes, flags, to, to_bytes))
COUNTED(sends, ssize_t, sendmsg, (int fd, const msghdr* message, int flags), syscall(SYS_sendmsg, fd, message, flags))
COUNTED(sends, int, sendmmsg, (int fd, mmsghdr* messages, unsigned n, int flags), syscall(SYS_sendmmsg, fd, messages, n, flags))
COUNTED(receptions, ssize_t, recv, (int fd, void* buffer, std::size_t bytes, int flags), syscall(SYS_recvfrom, fd, buffer, bytes, flags, nullptr, nullptr))
COUNTED(receptions, ssize_t, recvfrom, (int fd, void* buffer, std::size_t bytes, int flags, sockaddr* from, socklen_t* from_bytes), syscall(SYS_recvfrom, fd, buffer, bytes, flags, from, from_bytes))
COUNTED(receptions, ssize_t, recvmsg, (int fd, msghdr* message, int flags), syscall(SYS_recvmsg, fd, message, flags))
COUNTED(receptions, int, recvmmsg, (int fd, mmsghdr* messages, unsigned n, int flags, timespec* timeout), syscall(SYS_recvmmsg, fd, messages, n, flags, timeout))
COUNTED(other_calls, ssize_t, write, (int fd, const void* buffer, std::size_t bytes), syscall(SYS_write, fd, buffer, bytes))
COUNTED(other_calls, off_t, lseek, (int fd, off_t offset, int whence) noexcept, syscall(SYS_lseek, fd, offset, whence))
COUNTED(other_calls, int, epoll_ctl, (int fd, int operation, int watched, epoll_event* event) noexcept, syscall(SYS_epoll_ctl, fd, operation, watched, event))
COUNTED(other_calls, int, timerfd_settime, (int fd, int flags, const itimerspec* when, itimerspec* before) noexcept, syscall(SYS_timerfd_settime, fd, flags, when, before))
// clang-format on

int epoll_wait(int fd, epoll_event* events, int room, int ms) {
    static std::uint64_t turn_begin_ns = thread_time_ns(); // one thread has a loop
    counter& longest = counters[longest_turn_ns];
    longest = std::max<std::uint64_t>(longest, thread_time_ns() - turn_begin_ns);
    count(event_waits);
    const long ready =
        syscall(SYS_epoll_pwait, fd, events, room, ms, nullptr, kernel_signal_set_bytes);
    turn_begin_ns = thread_time_ns();
    return static_cast<int>(ready);
}

} // extern "C"
