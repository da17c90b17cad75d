// SPDX-License-Identifier: GPL-3.0-or-later
// A far end that sends to one stream what the input says.
#pragma once

#include "support/input.hpp"
#include "util/unique_fd.hpp"

#include <cstdint>
#include <string>

namespace vocalink::fuzz {

/** A UDP socket connected to a stream. Most packets of a random input would fail at the first byte,
 *  so that it also sends packets whose header goes on from the one before. */
class far_end {
  public:
    /** @param port  of the stream, which is bound to 127.0.0.1 */
    explicit far_end(const std::string& port);

    /** Sends one datagram: any bytes, or a header with a payload of one of the usual lengths. */
    void send(input& in);

  private:
    std::string next_packet(input& in);

    util::unique_fd socket;
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
};

} // namespace vocalink::fuzz
