// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon as the object of a measurement: started, filled with calls, its figures at hand.
#pragma once

#include "harness/controller.hpp"
#include "harness/daemon_process.hpp"
#include "load/counters.hpp"
#include "load/process_figures.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vocalink::bench {

/** What a stream says of itself at its end, and the path of its recording, if there is one. */
struct ended_leg {
    std::uint64_t incoming = 0; // packets
    std::uint64_t outgoing = 0;
    std::string recording;
};

/** A fresh daemon on the servers' core, with one controller and without inactivity time-outs that
 *  could fall into a measurement. Ends with the object, and must end well. */
class loaded_daemon {
  public:
    /** @param remote_port  where each leg sends until it has heard somebody
     *  @param counting     counts heap allocations and system calls, which costs it time */
    explicit loaded_daemon(std::uint16_t remote_port, bool counting = false);
    ~loaded_daemon();

    /** Bridges with so many legs each, 2 for calls.
     *  @param type       "vocalink" or "conference"
     *  @param encodings  given to the legs in turn */
    void add_bridges(const std::string& type, std::size_t all_legs, std::size_t legs_each,
                     const std::vector<std::string>& encodings = {"PCMU"});

    /** For each µ-law file a leg with a bridge of its own, into which a looping sound_stream
     *  plays it. */
    void add_players(const std::vector<std::string>& files);

    /** Records every leg in a pcap file of its own. */
    void start_recordings();

    /** Ends the recordings and waits until each is announced to be finished. */
    void finish_recordings();

    /** Deletes the legs. @return what they say of themselves, in the order of their making */
    std::vector<ended_leg> delete_legs();

    /** Sends a command and returns its reply. @throws std::runtime_error unless it is a success */
    std::string command(const std::string& line);

    /** A stream without a bridge, its port and id added to the legs. */
    void add_stream(const std::string& id, const std::string& encoding);

    /** The process and the ports of its legs. */
    [[nodiscard]] const server& process() const { return started; }

    [[nodiscard]] const std::string& socket_path() const { return daemon->socket_path(); }

    /** Since the start or clear_counts(); only when they are counted. */
    [[nodiscard]] counter_values counts() const;
    void clear_counts() const;

  private:
    harness::temporary_directory directory;
    const std::string counter_path = directory.path() + "/counts";
    std::optional<harness::daemon_process> daemon;
    std::optional<harness::controller> control;
    std::uint16_t remote;
    server started;
    std::vector<std::string> legs;                 // ids
    std::map<std::string, std::string> recordings; // paths by leg
};

} // namespace vocalink::bench
