// SPDX-License-Identifier: GPL-3.0-or-later
// Where a caller keys the PIN of a room.
#pragma once

#include "control_link.hpp"
#include "sound_player.hpp"

#include <string>

namespace vocalink::dialin {

/** A conference of one caller alone, so that the daemon reads the keys. Owned by its call. */
class lobby {
  public:
    enum class verdict { undecided, admitted, refused };

    lobby(control_link& link, sound_player& sounds, std::string bridge, std::string pin);
    lobby(const lobby&) = delete;
    lobby& operator=(const lobby&) = delete;
    ~lobby();

    /** @param event  telephone event code, 0 to 15 */
    [[nodiscard]] verdict key(unsigned event);
    /** The daemon has ended the conference, which was empty for too long. */
    void reopen() { link.send("new conference " + bridge_id); }
    [[nodiscard]] const std::string& bridge() const { return bridge_id; }

  private:
    void ask();

    control_link& link;
    sound_player& sounds;
    std::string bridge_id;
    std::string pin;
    std::string keyed;
    int tries_left = 3;
    sound_player::number prompt = 0;
};

} // namespace vocalink::dialin
