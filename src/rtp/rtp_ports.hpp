// SPDX-License-Identifier: GPL-3.0-or-later
// The order in which local RTP ports are tried.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vocalink {

/** Even ports, from the first to the last of them. */
struct port_range {
    int first;
    int last;
};

/** What every stream may use: 6000 to 64998. */
inline constexpr port_range usual_ports{6000, 64998};

/** The even ports of "FIRST-LAST"; none when the text is no range of ports that has one. */
[[nodiscard]] std::optional<port_range> parse_port_range(std::string_view text);

/** Hands out the ports of a range, ascending and around. One counter serves all streams of the
 *  process, so that a port that was just given back is the last to be used again. */
class rtp_ports {
  public:
    explicit rtp_ports(port_range range) : ports(range) {}

    /** The port that take() gives next. */
    [[nodiscard]] int next() const { return counter; }

    int take() {
        const int port = counter;
        counter = port >= ports.last ? ports.first : port + 2;
        return port;
    }

    /** Makes port the next one: a refused stream uses none up. */
    void rewind(int port) { counter = port; }

  private:
    port_range ports;
    int counter = ports.first;
};

/** Remembers which address has no free port left. To find that out takes tens of milliseconds, in which
 *  packets wait, and a controller that gets a refusal may well try again at once. */
class full_address {
  public:
    /** Whether a search would be in vain. An address counts as full for a second: another process may
     *  give ports back as well. @param now_s  never decreasing */
    [[nodiscard]] bool is(std::uint32_t address, double now_s) const {
        return known && address == full && now_s < until_s;
    }
    void note_full(std::uint32_t address, double now_s) {
        known = true;
        full = address;
        until_s = now_s + 1.0;
    }
    /** This process has given a port back, of whatever address. */
    void note_return() { known = false; }

  private:
    bool known = false;
    std::uint32_t full = 0; // as in sockaddr_in
    double until_s = 0.0;
};

} // namespace vocalink
