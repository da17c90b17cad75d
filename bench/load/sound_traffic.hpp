// SPDX-License-Identifier: GPL-3.0-or-later
// Sound files whose frames know their place, and the account of what the listeners got of them.
#pragma once

#include "load/measured_process.hpp"
#include "load/packet_socket.hpp"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vocalink::bench {

/** Writes µ-law files of one second each.
 *  @param directory  must outlive their use
 *  @return their paths */
[[nodiscard]] std::vector<std::string> write_sound_files(const std::string& directory,
                                                         std::size_t files);

/** What one round of playing cost and what became of its frames. */
struct sound_result {
    double expected = 0;        // frames, from the length of the round; each player may be one off
    std::uint64_t received = 0; // with the right content
    std::uint64_t missing = 0;  // from the listeners' sequence numbers
    std::uint64_t wrong = 0;    // no frame of the listener's file, or not the one that was due
    std::uint64_t unheard = 0;  // listeners that received nothing
    double cpu_s = 0;           // of the measured process

    [[nodiscard]] double cpu_per_million() const {
        return cpu_s / static_cast<double>(received) * 1e6;
    }
};

/** Listens to players of the files above; nothing is sent. Keeps the calling thread busy for the
 *  whole round, as the other loads do. */
class sound_traffic {
  public:
    static constexpr double frame_s = 0.020;

    explicit sound_traffic(packet_socket& shared);

    /** @param target  the listeners' legs, in the order of the files */
    [[nodiscard]] sound_result run(const measured_process& target, double seconds);

  private:
    /** What one listener has heard in this round. */
    struct listener {
        bool heard = false;
        std::uint16_t last_sequence = 0;
        std::uint32_t last_frame = 0; // its place in the file
    };

    void take(std::span<const std::uint8_t> bytes, std::uint16_t from_port);

    packet_socket& socket;
    std::array<std::int32_t, 65536> by_port{}; // listener's number of a port, -1 for none
    std::vector<listener> listeners;           // of the running round
    sound_result result;                       // of the running round
};

} // namespace vocalink::bench
