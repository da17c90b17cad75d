// SPDX-License-Identifier: GPL-3.0-or-later
// A slow disk for the process that preloads this: whatever opens, reads, writes or renames a file
// sleeps before, for as many milliseconds as VOCALINK_SLOW_DISK_MS says.
#include <array>
#include <cstdlib>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

namespace {

void wait_for_disk() {
    static const char* const setting = std::getenv("VOCALINK_SLOW_DISK_MS");
    const long ms = setting == nullptr ? 0 : std::atol(setting);
    const timespec pause{ms / 1000, ms % 1000 * 1'000'000};
    ::nanosleep(&pause, nullptr);
}

/** Sockets, pipes and the log are no disk. */
void wait_for_file(int fd) {
    struct stat facts {};
    if (fd > STDERR_FILENO && ::fstat(fd, &facts) == 0 && S_ISREG(facts.st_mode)) {
        wait_for_disk();
    }
}

template <class Function>
Function* next(Function*, const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int open(const char* path, int flags, ...) {
    static auto* const real = next(::open, "open");
    wait_for_disk();
    return real(path, flags, 0666); // the mode that the daemon uses
}

extern "C" ssize_t read(int fd, void* bytes, size_t size) {
    static auto* const real = next(::read, "read");
    wait_for_file(fd);
    return real(fd, bytes, size);
}

extern "C" ssize_t pread(int fd, void* bytes, size_t size, off_t offset) {
    static auto* const real = next(::pread, "pread");
    wait_for_file(fd);
    return real(fd, bytes, size, offset);
}

extern "C" ssize_t write(int fd, const void* bytes, size_t size) {
    static auto* const real = next(::write, "write");
    wait_for_file(fd);
    return real(fd, bytes, size);
}

extern "C" int renameat2(int from, const char* path, int to, const char* new_path,
                         unsigned flags) noexcept {
    static auto* const real = next(::renameat2, "renameat2");
    wait_for_disk();
    return real(from, path, to, new_path, flags);
}
