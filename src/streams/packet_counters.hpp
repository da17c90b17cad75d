// SPDX-License-Identifier: GPL-3.0-or-later
// What a stream counts of its packets.
#pragma once

#include <ostream>

namespace vocalink {

/** The counters of one stream, and their text in replies and notices. A new one is a line here and
 *  the place that counts. Belongs to its stream; loop thread only. */
struct packet_counters {
    long long incoming_packets = 0;
    long long incoming_bytes = 0;
    long long outgoing_packets = 0;
    long long outgoing_bytes = 0;
    long long read_failures = 0;
    long long write_failures = 0;

    [[nodiscard]] bool has_failures() const { return read_failures != 0 || write_failures != 0; }

    /** " incoming_packets=N outgoing_packets=N". */
    void write_packets_to(std::ostream& os) const {
        os << " incoming_packets=" << incoming_packets << " outgoing_packets=" << outgoing_packets;
    }
    /** The same, and the failures if there were any. */
    void write_to(std::ostream& os) const {
        write_packets_to(os);
        if (read_failures != 0) {
            os << " packet_read_failures=" << read_failures;
        }
        if (write_failures != 0) {
            os << " packet_write_failures=" << write_failures;
        }
    }
};

} // namespace vocalink
