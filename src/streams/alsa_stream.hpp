// SPDX-License-Identifier: GPL-3.0-or-later
// The output to the machine's sound device.
#pragma once

#include "audio/player_pipe.hpp"
#include "streams/stream.hpp"

#include <memory>
#include <string>

namespace vocalink {

/** Plays what a bridge sends it through an external player, and says nothing itself. */
class alsa_stream : public stream {
  public:
    /** The player: one channel of µ-law at 8,000 samples a second on its standard input. */
    static constexpr const char* default_player = "/usr/bin/aplay -c1 -r8000 -traw -f mu_law";

    /** @param player  command line to run
     *  @throws stream_exception "could not popen aplay" when no process can be started */
    explicit alsa_stream(std::string id, const char* player = default_player);

    int read_incoming_rtp(char* buf, int len, bool drain) override;
    int write_outgoing(const char* buf, int len) override;
    void dump_stats(std::ostream& os) override;
    void dump_detailed_stats(std::ostream& os) override;
    [[nodiscard]] std::string_view kind_word() const override { return "alsa_stream"; }
    [[nodiscard]] std::string list_stream() override;
    [[nodiscard]] std::unique_ptr<conference_leg> make_conference_leg() override;

  private:
    class leg; // alsa_conference.cpp

    player_pipe player;
};

} // namespace vocalink
