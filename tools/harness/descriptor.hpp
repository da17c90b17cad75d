// SPDX-License-Identifier: GPL-3.0-or-later
// What every part of the harness needs of the system: an owned descriptor and waits with an end.
#pragma once

#include <chrono>
#include <string>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace vocalink::harness {

using std::chrono::milliseconds;

/** How long a wait may last before it counts as a failure, unless the caller says otherwise. Ample
 *  for a loaded machine with sanitizers: a wait that succeeds ends at once. */
inline constexpr milliseconds default_timeout{5000};

/** Owner of one file descriptor, -1 for none. Movable. */
class descriptor {
  public:
    descriptor() = default;
    explicit descriptor(int owned) : fd(owned) {}
    descriptor(descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    descriptor& operator=(descriptor&& other) noexcept {
        std::swap(fd, other.fd);
        return *this;
    }
    ~descriptor() { reset(); }

    [[nodiscard]] int get() const { return fd; }
    void reset() {
        if (fd >= 0) {
            ::close(std::exchange(fd, -1));
        }
    }

  private:
    int fd = -1;
};

/** A moment on the steady clock after which a wait has failed. */
class deadline {
  public:
    explicit deadline(milliseconds from_now) : end(std::chrono::steady_clock::now() + from_now) {}

    /** What is left, never negative, rounded up to whole milliseconds. */
    [[nodiscard]] milliseconds left() const;
    [[nodiscard]] bool passed() const { return left() == milliseconds::zero(); }

  private:
    std::chrono::steady_clock::time_point end;
};

/** Waits until fd has input (or end of file, or an error to be read).
 *  @return false when the deadline passed first */
[[nodiscard]] bool wait_readable(int fd, const deadline& until);

/** Throws std::runtime_error with what was attempted and the text of errno. */
[[noreturn]] void throw_system_error(const std::string& what);

} // namespace vocalink::harness
