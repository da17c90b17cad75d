// SPDX-License-Identifier: GPL-3.0-or-later
// A library to be preloaded into a program: counts the system calls that cost it time while it
// moves packets, by kind, in a shared page. What the C library calls for itself is not seen.
#include "load/counter_page.hpp"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

using namespace vocalink::bench;

constinit shared_counters counters;

constexpr std::size_t kernel_signal_set_bytes = 8;

[[gnu::constructor]] void open_page() {
    counters.open();
}

template <class Result, class... Arguments>
Result counted(counter_place place, long number, Arguments... arguments) {
    counters.count(place);
    return static_cast<Result>(syscall(number, arguments...));
}

} // namespace

extern "C" {

int epoll_wait(int fd, epoll_event* events, int room, int timeout_ms) {
    return counted<int>(counted_waits, SYS_epoll_pwait, fd, events, room, timeout_ms, nullptr,
                        kernel_signal_set_bytes);
}

ssize_t read(int fd, void* buffer, std::size_t bytes) {
    return counted<ssize_t>(counted_reads, SYS_read, fd, buffer, bytes);
}

ssize_t readv(int fd, const iovec* pieces, int count) {
    return counted<ssize_t>(counted_reads, SYS_readv, fd, pieces, count);
}

ssize_t pread(int fd, void* buffer, std::size_t bytes, off_t offset) {
    return counted<ssize_t>(counted_reads, SYS_pread64, fd, buffer, bytes, offset);
}

ssize_t pread64(int fd, void* buffer, std::size_t bytes, off64_t offset) {
    return counted<ssize_t>(counted_reads, SYS_pread64, fd, buffer, bytes, offset);
}

ssize_t send(int fd, const void* buffer, std::size_t bytes, int flags) {
    return counted<ssize_t>(counted_sends, SYS_sendto, fd, buffer, bytes, flags, nullptr, 0);
}

ssize_t sendto(int fd, const void* buffer, std::size_t bytes, int flags, const sockaddr* to,
               socklen_t to_bytes) {
    return counted<ssize_t>(counted_sends, SYS_sendto, fd, buffer, bytes, flags, to, to_bytes);
}

ssize_t sendmsg(int fd, const msghdr* message, int flags) {
    return counted<ssize_t>(counted_sends, SYS_sendmsg, fd, message, flags);
}

int sendmmsg(int fd, mmsghdr* messages, unsigned count, int flags) {
    return counted<int>(counted_sends, SYS_sendmmsg, fd, messages, count, flags);
}

ssize_t recv(int fd, void* buffer, std::size_t bytes, int flags) {
    return counted<ssize_t>(counted_receptions, SYS_recvfrom, fd, buffer, bytes, flags, nullptr,
                            nullptr);
}

ssize_t recvfrom(int fd, void* buffer, std::size_t bytes, int flags, sockaddr* from,
                 socklen_t* from_bytes) {
    return counted<ssize_t>(counted_receptions, SYS_recvfrom, fd, buffer, bytes, flags, from,
                            from_bytes);
}

ssize_t recvmsg(int fd, msghdr* message, int flags) {
    return counted<ssize_t>(counted_receptions, SYS_recvmsg, fd, message, flags);
}

ssize_t write(int fd, const void* buffer, std::size_t bytes) {
    return counted<ssize_t>(counted_others, SYS_write, fd, buffer, bytes);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
    return counted<off_t>(counted_others, SYS_lseek, fd, offset, whence);
}

int epoll_ctl(int fd, int operation, int watched, epoll_event* event) noexcept {
    return counted<int>(counted_others, SYS_epoll_ctl, fd, operation, watched, event);
}

int timerfd_settime(int fd, int flags, const itimerspec* when, itimerspec* before) noexcept {
    return counted<int>(counted_others, SYS_timerfd_settime, fd, flags, when, before);
}

} // extern "C"
