// SPDX-License-Identifier: GPL-3.0-or-later
// The shared page and the environment that makes a program count into it.
#include "load/counter_probe.hpp"

#include "util/unique_fd.hpp"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vocalink::bench {

counter_probe::counter_probe(const std::string& library) {
    const std::string path = directory.path() + "/counts";
    const util::unique_fd file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    void* mapped = MAP_FAILED;
    if (file && ftruncate(file.get(), counter_page_bytes) == 0) {
        mapped = mmap(nullptr, counter_page_bytes, PROT_READ, MAP_SHARED, file.get(), 0);
    }
    if (mapped == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    page = static_cast<std::uint64_t*>(mapped);
    setenv(counter_file_variable, path.c_str(), 1);
    setenv("LD_PRELOAD", library.c_str(), 1);
}

counter_probe::~counter_probe() {
    unsetenv("LD_PRELOAD");
    unsetenv(counter_file_variable);
    munmap(page, counter_page_bytes);
}

void counter_probe::attached() {
    unsetenv("LD_PRELOAD");
    unsetenv(counter_file_variable);
    if (counts()[0] == 0) {
        throw std::runtime_error("the counter was not loaded into the daemon");
    }
}

counter_values counter_probe::counts() const {
    counter_values values{};
    for (std::size_t place = 0; place < values.size(); ++place) {
        values[place] = std::atomic_ref<std::uint64_t>(page[place]).load(std::memory_order_relaxed);
    }
    return values;
}

} // namespace vocalink::bench
