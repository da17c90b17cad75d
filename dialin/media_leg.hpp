// SPDX-License-Identifier: GPL-3.0-or-later
// A caller's RTP endpoint in the daemon.
#pragma once

#include "control_link.hpp"
#include "media_offer.hpp"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace vocalink::dialin {

/** Creates an rtp_stream in the daemon and ends it with itself. Keeps the encoding it was made
 *  with; addresses and payload types may change. Owned by its call. */
class media_leg {
  public:
    using clock = std::chrono::steady_clock;

    /** @param id        the stream's id in the daemon, new for every leg
     *  @param local_ip  where the daemon receives
     *  @param on_ready  called with true once the leg can join, with false when the daemon refuses;
     *                   may destroy the leg */
    media_leg(control_link& link, std::string id, const media_choice& choice, std::string local_ip,
              std::function<void(bool)> on_ready);
    media_leg(const media_leg&) = delete;
    media_leg& operator=(const media_leg&) = delete;
    ~media_leg();

    /** Takes over the far end's address and payload types. @pre the codec is the same */
    void follow(const media_choice& choice);
    void join(const std::string& bridge);
    /** Leaves the bridge it is in, if any. */
    void leave();
    /** Forgets the bridge, which has ended by itself. */
    void bridge_ended() { bridge.clear(); }
    /** Muted: nobody hears it, but its keys are read. */
    void mute(bool on);
    /** Asks the daemon whether packets still come. */
    void look_for_packets();

    [[nodiscard]] const std::string& id() const { return stream; }
    [[nodiscard]] const std::string& local_ip() const { return ip; }
    [[nodiscard]] std::uint16_t local_port() const { return port; }
    [[nodiscard]] const media_choice& choice() const { return media; }
    /** When packets were last seen to come, or when it began to listen for them. */
    [[nodiscard]] clock::time_point last_heard() const { return heard; }

  private:
    void created(const reply& answer);
    void set_payload_types();
    void command(std::string line); // one that has to succeed before the leg is ready
    void report(bool success);

    control_link& link;
    std::string stream;
    std::string ip;
    media_choice media;
    std::function<void(bool)> on_ready; ///< empty once called
    std::uint16_t port = 0;
    int unanswered = 0; ///< commands that come before ready
    std::string bridge; ///< that it has joined, or empty
    std::string packets;
    clock::time_point heard = clock::now();
    std::shared_ptr<void> alive = std::make_shared<int>(); ///< replies come only to the living
};

} // namespace vocalink::dialin
