// SPDX-License-Identifier: GPL-3.0-or-later
// Prompts and tones: sound files that the daemon plays into a bridge.
#pragma once

#include "control_link.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace vocalink::dialin {

/** One word of a command, with what the daemon would split or unquote escaped. */
[[nodiscard]] std::string as_word(std::string_view text);

/** Starts and ends the daemon's sound streams. */
class sound_player {
  public:
    using number = std::uint64_t; ///< of a sound that plays; 0 is none
    sound_player(control_link& control, std::string directory)
        : link(control), folder(std::move(directory)) {}

    struct order {
        std::string bridge;
        std::string sound;                 ///< name of the file, without folder and extension
        bool repeat = false;               ///< until it is stopped
        std::string only_for = {};         ///< the leg that alone hears it, or empty for everybody
        std::function<void()> on_end = {}; ///< called when it has been heard to its end
    };
    number play(order wanted);
    /** Ends a sound; its on_end is not called. No harm when it is over already. */
    void stop(number sound);
    /** The daemon says that a stream has ended. */
    void stream_ended(std::string_view id);
    /** The daemon is gone and all sounds with it. */
    void clear() { playing.clear(); }

  private:
    control_link& link;
    std::string folder;
    number last = 0;
    std::map<std::string, std::function<void()>, std::less<>> playing; ///< by stream id
};

} // namespace vocalink::dialin
