// SPDX-License-Identifier: GPL-3.0-or-later
// A library to be preloaded into a program: counts its heap allocations in a shared page.
#include "load/counter_page.hpp"

#include <cerrno>
#include <cstdlib>

// The C library's own allocator under the names it keeps for replacements: looking it up at run
// time would allocate.
extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
}

namespace {

constinit vocalink::bench::shared_counters counters;

void count_one() {
    counters.count(vocalink::bench::counted_allocations);
}

/** Runs before the program's entry; what was allocated by then is carried over. */
[[gnu::constructor]] void open_page() {
    counters.open();
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
