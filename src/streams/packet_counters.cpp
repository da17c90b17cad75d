// SPDX-License-Identifier: GPL-3.0-or-later
// What a stream counts of its packets.
#include "streams/packet_counters.hpp"

namespace vocalink {

void packet_counters::write_packets_to(std::ostream& os) const {
    os << " incoming_packets=" << incoming_packets << " outgoing_packets=" << outgoing_packets;
}

void packet_counters::write_to(std::ostream& os) const {
    write_packets_to(os);
    if (read_failures != 0) {
        os << " packet_read_failures=" << read_failures;
    }
    if (write_failures != 0) {
        os << " packet_write_failures=" << write_failures;
    }
}

} // namespace vocalink
