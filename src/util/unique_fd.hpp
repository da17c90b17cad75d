// SPDX-License-Identifier: GPL-3.0-or-later
// Owner of one file descriptor.
#pragma once

#include <utility>

#include <unistd.h>

namespace vocalink::util {

/** Closes its descriptor when it ends; -1 stands for none. Movable. */
class unique_fd {
  public:
    unique_fd() = default;
    explicit unique_fd(int owned) : fd(owned) {}
    unique_fd(unique_fd&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    unique_fd& operator=(unique_fd&& other) noexcept {
        reset(std::exchange(other.fd, -1));
        return *this;
    }
    ~unique_fd() { reset(); }

    [[nodiscard]] int get() const { return fd; }
    explicit operator bool() const { return fd >= 0; }

    void reset(int owned = -1) {
        if (fd >= 0) {
            ::close(fd);
        }
        fd = owned;
    }

  private:
    int fd = -1;
};

} // namespace vocalink::util
