// SPDX-License-Identifier: GPL-3.0-or-later
// The order in which local RTP ports are tried.
#pragma once

namespace vocalink {

/** Hands out the even ports 6000 to 64998, ascending and around. One counter serves all streams of
 *  the process, so that a port that was just given back is the last to be used again. */
class rtp_ports {
  public:
    static constexpr int lowest = 6000;
    static constexpr int highest = 64998;

    /** The port that take() gives next. */
    [[nodiscard]] int next() const { return counter; }

    int take() {
        const int port = counter;
        counter = port >= highest ? lowest : port + 2;
        return port;
    }

    /** Makes port the next one: a refused stream uses none up. */
    void rewind(int port) { counter = port; }

  private:
    int counter = lowest;
};

} // namespace vocalink
