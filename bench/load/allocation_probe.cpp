// SPDX-License-Identifier: GPL-3.0-or-later
// The shared page and the environment that makes a program count into it.
#include "load/allocation_probe.hpp"

#include "load/allocation_counter.hpp"
#include "util/unique_fd.hpp"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vocalink::bench {

allocation_probe::allocation_probe() {
    const std::string path = directory.path() + "/allocations";
    const util::unique_fd file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    void* mapped = MAP_FAILED;
    if (file && ftruncate(file.get(), allocation_page_bytes) == 0) {
        mapped = mmap(nullptr, allocation_page_bytes, PROT_READ, MAP_SHARED, file.get(), 0);
    }
    if (mapped == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    page = static_cast<std::uint64_t*>(mapped);
    setenv(allocation_file_variable, path.c_str(), 1);
    setenv("LD_PRELOAD", VOCALINK_ALLOCATION_COUNTER_PATH, 1);
}

allocation_probe::~allocation_probe() {
    unsetenv("LD_PRELOAD");
    unsetenv(allocation_file_variable);
    munmap(page, allocation_page_bytes);
}

void allocation_probe::attached() {
    unsetenv("LD_PRELOAD");
    unsetenv(allocation_file_variable);
    if (count() == 0) {
        throw std::runtime_error("the allocation counter was not loaded into the daemon");
    }
}

std::uint64_t allocation_probe::count() const {
    return std::atomic_ref<std::uint64_t>(*page).load(std::memory_order_relaxed);
}

} // namespace vocalink::bench
