// SPDX-License-Identifier: GPL-3.0-or-later
// How many packets a recording holds.
#pragma once

#include <cstdint>
#include <string>

namespace vocalink::bench {

struct pcap_count {
    std::uint64_t packets = 0;
    std::uint64_t bytes = 0; // of the file
};

/** Walks the records of a pcap file in this machine's byte order.
 *  @throws std::runtime_error when it is missing, not a pcap file, or ends within a record */
[[nodiscard]] pcap_count count_pcap(const std::string& path);

} // namespace vocalink::bench
