// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon as the object of a measurement: started, filled with calls, its figures at hand.
#pragma once

#include "harness/controller.hpp"
#include "harness/daemon_process.hpp"
#include "load/allocation_probe.hpp"
#include "load/measured_process.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <netinet/in.h>

namespace vocalink::bench {

/** "name7": ids of streams and bridges. */
[[nodiscard]] std::string numbered(std::string name, std::size_t number);

/** A fresh daemon on a core of its own, with one controller and without inactivity time-outs that
 *  could fall into a measurement. Ends with the object. */
class daemon_under_load {
  public:
    enum class counting { off, allocations };

    explicit daemon_under_load(int core, counting what = counting::off);

    /** Two-party calls; leg 2k is bridged with leg 2k+1.
     *  @param remote  where each leg sends until it has heard somebody */
    measured_process make_pairs(std::size_t pairs, const sockaddr_in& remote);

    /** One bridge with all legs. @param encodings  given to the legs in turn */
    measured_process make_conference(std::size_t members, const sockaddr_in& remote,
                                     const std::vector<std::string>& encodings = {"PCMU"});

    /** Deletes the legs made last.
     *  @return the packets that they say they have received */
    std::uint64_t delete_legs();

    /** Sends a command and returns its reply. @throws std::runtime_error unless it is a success */
    std::string command(const std::string& line);

    /** A stream without a bridge. @return its port */
    std::uint16_t make_stream(const std::string& id, const sockaddr_in& remote,
                              const std::string& encoding);

    [[nodiscard]] pid_t pid() const { return process.pid(); }

    /** Heap allocations since the start; only when they are counted. */
    [[nodiscard]] std::uint64_t allocations() const { return probe->count(); }

    /** Ends the daemon now. @throws std::runtime_error unless it ends with status 0 */
    void stop();

  private:
    std::unique_ptr<allocation_probe> probe; // before the process: it prepares the environment
    harness::daemon_process process;
    harness::controller control;
    std::vector<std::string> legs; // ids of the legs made last
};

} // namespace vocalink::bench
