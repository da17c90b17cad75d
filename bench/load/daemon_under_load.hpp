// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon as the object of a measurement: started, filled with calls, its figures at hand.
#pragma once

#include "harness/controller.hpp"
#include "harness/daemon_process.hpp"
#include "load/counter_probe.hpp"
#include "load/measured_process.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <netinet/in.h>

namespace vocalink::bench {

/** "name7": ids of streams and bridges. */
[[nodiscard]] std::string numbered(std::string name, std::size_t number);

/** What a stream says at its end. */
struct leg_packets {
    std::uint64_t incoming = 0;
    std::uint64_t outgoing = 0;
};

/** A fresh daemon on a core of its own, with one controller and without inactivity time-outs that
 *  could fall into a measurement. Ends with the object. */
class daemon_under_load {
  public:
    enum class counting { off, allocations, system_calls };

    explicit daemon_under_load(int core, counting what = counting::off);

    /** Two-party calls; leg 2k is bridged with leg 2k+1.
     *  @param remote  where each leg sends until it has heard somebody */
    measured_process make_pairs(std::size_t pairs, const sockaddr_in& remote);

    /** One bridge with all legs. @param encodings  given to the legs in turn */
    measured_process make_conference(std::size_t members, const sockaddr_in& remote,
                                     const std::vector<std::string>& encodings = {"PCMU"});

    /** Legs with a bridge of their own each, into which a looping sound_stream plays.
     *  @param files  µ-law, one for each leg, outliving the streams */
    measured_process make_players(const std::vector<std::string>& files, const sockaddr_in& remote);

    /** Deletes the legs made last.
     *  @return what they say they have received and sent, in the order of their making */
    std::vector<leg_packets> delete_legs();

    /** Records each leg made last in a pcap file of its own.
     *  @return the paths at which the files will stand, in the order of the legs */
    std::vector<std::string> start_recordings();

    /** Ends the recordings and waits until each is announced to be finished.
     *  @throws std::runtime_error when one is not, in this time after the one before */
    void stop_recordings(std::chrono::milliseconds patience);

    /** Sends a command and returns its reply. @throws std::runtime_error unless it is a success */
    std::string command(const std::string& line);

    /** A stream without a bridge. @return its port */
    std::uint16_t make_stream(const std::string& id, const sockaddr_in& remote,
                              const std::string& encoding);

    [[nodiscard]] pid_t pid() const { return process.pid(); }

    /** Heap allocations or system calls since the start; only when they are counted. */
    [[nodiscard]] counter_values counts() const { return probe->counts(); }

    /** Ends the daemon now. @throws std::runtime_error unless it ends with status 0 */
    void stop();

  private:
    std::unique_ptr<counter_probe> probe;   // before the process: it prepares the environment
    harness::temporary_directory directory; // work and store directory of the recordings
    harness::daemon_process process;
    harness::controller control;
    std::vector<std::string> legs; // ids of the legs made last
};

} // namespace vocalink::bench
