// SPDX-License-Identifier: GPL-3.0-or-later
// What every scene of the demonstration needs: the talk with the daemon, and the legs of a call.
#pragma once

#include "harness/controller.hpp"
#include "leg.hpp"

#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace vocalink::demo {

/** Where speech comes from and where it goes to; directories without a slash at their end. */
struct places {
    std::string audio;  ///< holds NAME.ulaw for each speaker, and welcome.ulaw
    std::string output; ///< takes SCENE-NAME.wav for each leg

    /** The daemon's directory for recordings that are over. */
    [[nodiscard]] std::string recordings() const { return output + "/recordings"; }
    /** Its directory for those that are going on. */
    [[nodiscard]] std::string unfinished() const { return output + "/unfinished"; }
};

/** Checks that have failed so far. */
inline int faults = 0;

/** Unless it is right, prints the fault and counts it. */
void check(bool right, const std::string& fault);

/** Prints every line that goes over the control socket, with a word on what it does: commands
 *  behind ">", replies and notices behind "<". */
class dialogue {
  public:
    /** Connects and shows the greeting. */
    explicit dialogue(const std::string& socket_path);

    /** Sends a command that must succeed.
     *  @return its reply
     *  @throws std::runtime_error when the reply does not begin with "SUCCESS" */
    std::string say(const std::string& command, const std::string& remark,
                    const std::string& reply_remark = "done");

    /** Waits for the next notice, shows it and checks how it begins.
     *  @throws std::runtime_error when it begins otherwise, or when none comes in time */
    void hear(const std::string& beginning, const std::string& remark);

  private:
    harness::controller control;
};

/** A call's legs; a deque, because legs do not move. */
using call_legs = std::deque<leg>;

/** Adds a telephone with the voice of that name, and has the daemon make the endpoint that it
 *  calls from then on.
 *  @param pause_frames  of silence before the voice */
void add_leg(dialogue& control, call_legs& legs, const places& where, const std::string& name,
             const std::string& encoding, std::size_t pause_frames = 0);

/** Calls tick(0) to tick(ticks - 1) at 20 ms intervals that do not drift, while the legs take in
 *  what comes for them. Ends 20 ms after the last. */
void talk(call_legs& legs, std::size_t ticks, const std::function<void(std::size_t)>& tick);

/** All legs say all that they have to say, at once.
 *  @return the 20 ms frames that this took */
std::size_t everyone_speaks(call_legs& legs);

/** The legs take in what comes for them until each has heard so many frames, or for some seconds
 *  longer than that many mixing cycles last. */
void listen(call_legs& legs, std::size_t frames);

/** The first leg leaves, all legs are deleted, and then the bridge. */
void end_call(dialogue& control, const call_legs& legs, const std::string& bridge);

/** Somebody, or something, that the legs of a call may have heard. */
struct voice {
    std::string name;
    sound said;
};

/** Measures who heard whom, shows and checks it, and writes down what was heard. Every leg hears every
 *  voice but its own. To be called when nothing more is sent.
 *  @param others  voices in the call that are no legs */
void judge(call_legs& legs, const places& where, const std::string& scene,
           const std::vector<voice>& others = {});

// The scenes. Each throws std::runtime_error when it cannot go on.

/** Two legs of one codec: the daemon passes their packets on as they are. Ends with a key press. */
void two_party_call(dialogue& control, const places& where);

/** Five legs of five codecs: the daemon mixes, plays a prompt to all, and records. */
void conference(dialogue& control, const places& where);

/** A digit sent by one endpoint of the daemon and reported by another. */
void sent_digit(dialogue& control, const places& where);

/** A digit played as tones to a telephone, which measures them. */
void played_tones(dialogue& control, const places& where);

} // namespace vocalink::demo
