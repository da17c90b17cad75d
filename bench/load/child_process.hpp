// SPDX-License-Identifier: GPL-3.0-or-later
// A function that runs in a process of its own, so that its cost can be told from everybody else's.
#pragma once

#include "load/measured_process.hpp"
#include "util/unique_fd.hpp"

#include <cstdint>
#include <functional>
#include <vector>

namespace vocalink::bench {

/** Forks; the child calls the body, which reports the ports of its legs through the descriptor with
 *  report_ports() and then serves them until it is killed. It dies with its parent. The caller
 *  must have one thread only. */
class child_process {
  public:
    child_process(std::size_t legs, const std::function<void(int report_fd)>& body);
    child_process(const child_process&) = delete;
    child_process& operator=(const child_process&) = delete;
    ~child_process();

    [[nodiscard]] const measured_process& process() const { return started; }

  private:
    measured_process started;
};

void report_ports(int report_fd, const std::vector<std::uint16_t>& ports);

/** A non-blocking UDP socket on 127.0.0.1 with a port of the system's choice and the system's
 *  default buffers, as the daemon's own are.
 *  @param port  receives the port, host order */
[[nodiscard]] util::unique_fd open_leg_socket(std::uint16_t& port);

} // namespace vocalink::bench
