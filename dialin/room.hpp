// SPDX-License-Identifier: GPL-3.0-or-later
// A conference that callers meet in, with its prompt, tones and recording.
#pragma once

#include "control_link.hpp"
#include "sound_player.hpp"

#include <set>
#include <string>

namespace vocalink::dialin {

class media_leg;

/** Somebody in a room. */
class party {
  public:
    /** The leg that can be heard now; none on hold. */
    [[nodiscard]] virtual media_leg* active_leg() = 0;
    [[nodiscard]] virtual bool is_held() const = 0;

  protected:
    ~party() = default;
};

/** A conference in the daemon, made with the first caller and ended with this object, which the
 *  exchange destroys when the last has left. */
class room {
  public:
    room(control_link& link, sound_player& sounds, std::string name);
    room(const room&) = delete;
    room& operator=(const room&) = delete;
    ~room();

    void enter(party& who);
    void leave(party& who);
    /** Tells the asker alone how many are in, a tone for each. */
    void count_for(party& asker);
    /** Starts a recording of the whole room, or ends it. */
    void toggle_recording();
    /** The daemon has ended the conference, because everybody in it was on hold. */
    void bridge_ended();
    /** The daemon has ended a stream, perhaps the recording. */
    void stream_ended(std::string_view id);

    [[nodiscard]] bool empty() const { return parties.empty(); }
    [[nodiscard]] const std::string& name() const { return room_name; }
    [[nodiscard]] const std::string& bridge() const { return bridge_id; }

  private:
    void play(std::string_view sound) { sounds.play({bridge_id, std::string(sound)}); }
    void greet_the_lonely();
    void count_on(party* asker, std::size_t left);
    void start_recording();

    control_link& link;
    sound_player& sounds;
    std::string room_name;
    std::string bridge_id;
    std::string recorder; ///< id of the stream that records, empty while none does
    int recordings = 0;
    std::set<party*> parties; ///< views; the calls leave before they end
    party* asker = nullptr;   ///< to whom the count is being told
    sound_player::number prompt = 0;
    std::shared_ptr<void> alive = std::make_shared<int>();
};

} // namespace vocalink::dialin
