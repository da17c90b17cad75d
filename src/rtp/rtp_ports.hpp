// SPDX-License-Identifier: GPL-3.0-or-later
// The order in which local RTP ports are tried.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

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

/** Which even ports the streams of this process hold. A search passes them over without asking the
 *  system, so that even one in vain takes no time that packets would notice; it still asks about
 *  every port that others may hold. Addresses as in sockaddr_in. Loop thread only. */
class held_ports {
  public:
    void take(std::uint32_t address, int port) { blocks[place(address, port)].set(bit(port)); }
    void give_back(std::uint32_t address, int port);

    /** Whether a socket of that address would collide with one that holds the port there, or on all
     *  addresses. */
    [[nodiscard]] bool collide(std::uint32_t address, int port) const;

  private:
    static constexpr int ports_in_block = 64;
    using block = std::bitset<ports_in_block>;
    using block_place = std::pair<std::uint32_t, int>; // address, number of the block

    static block_place place(std::uint32_t address, int port) {
        return {address, port / 2 / ports_in_block};
    }
    static std::size_t bit(int port) { return static_cast<std::size_t>(port / 2 % ports_in_block); }
    [[nodiscard]] bool holds(std::uint32_t address, int port) const;

    std::map<block_place, block> blocks; // that have a port in them
};

} // namespace vocalink
