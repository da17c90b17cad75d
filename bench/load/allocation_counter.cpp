// SPDX-License-Identifier: GPL-3.0-or-later
// A library to be preloaded into a program: counts its heap allocations in a shared page.
#include "load/allocation_counter.hpp"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

// The C library's own allocator under the names it keeps for replacements: looking it up at run
// time would allocate.
extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
}

namespace {

using vocalink::bench::allocation_file_variable;
using vocalink::bench::allocation_page_bytes;

std::uint64_t before_the_page = 0;
std::uint64_t* page = &before_the_page;

void count_one() {
    std::atomic_ref<std::uint64_t>(*page).fetch_add(1, std::memory_order_relaxed);
}

/** Runs before the program's entry; what was allocated by then is carried over. */
[[gnu::constructor]] void open_page() {
    const char* path = std::getenv(allocation_file_variable);
    const int fd = path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        return;
    }
    void* mapped = mmap(nullptr, allocation_page_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (mapped != MAP_FAILED) {
        auto* shared = static_cast<std::uint64_t*>(mapped);
        *shared = before_the_page;
        page = shared;
    }
}

} // namespace

extern "C" {

void* malloc(std::size_t bytes) {
    count_one();
    return __libc_malloc(bytes);
}

void* calloc(std::size_t count, std::size_t bytes) {
    count_one();
    return __libc_calloc(count, bytes);
}

void* realloc(void* block, std::size_t bytes) {
    count_one();
    return __libc_realloc(block, bytes);
}

void* memalign(std::size_t alignment, std::size_t bytes) {
    count_one();
    return __libc_memalign(alignment, bytes);
}

void* aligned_alloc(std::size_t alignment, std::size_t bytes) {
    count_one();
    return __libc_memalign(alignment, bytes);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) {
    count_one();
    void* made = __libc_memalign(alignment, bytes);
    if (made == nullptr) {
        return ENOMEM;
    }
    *block = made;
    return 0;
}

} // extern "C"
