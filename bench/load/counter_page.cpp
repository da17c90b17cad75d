// SPDX-License-Identifier: GPL-3.0-or-later
// The counting side of the shared page. Goes into preloaded libraries: no heap, nothing to set up.
#include "load/counter_page.hpp"

#include <algorithm>
#include <atomic>
#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vocalink::bench {

void shared_counters::count(counter_place place) {
    std::uint64_t* const counts = page == nullptr ? before_the_page : page;
    std::atomic_ref<std::uint64_t>(counts[place]).fetch_add(1, std::memory_order_relaxed);
}

void shared_counters::open() {
    const char* path = std::getenv(counter_file_variable);
    const int fd = path == nullptr ? -1 : ::open(path, O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        return;
    }
    void* mapped = mmap(nullptr, counter_page_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (mapped != MAP_FAILED) {
        auto* shared = static_cast<std::uint64_t*>(mapped);
        std::copy_n(before_the_page, std::size_t{counter_places}, shared);
        page = shared;
    }
}

} // namespace vocalink::bench
