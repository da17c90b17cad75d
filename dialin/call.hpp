// SPDX-License-Identifier: GPL-3.0-or-later
// One SIP call, from its INVITE to its end, and the caller's place in a room.
#pragma once

#include "farewell.hpp"
#include "lobby.hpp"
#include "media_leg.hpp"
#include "room.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <sofia-sip/nua.h>

namespace vocalink::dialin {

class exchange;

/** A request kept until the daemon has answered. */
class kept_request {
  public:
    /** Keeps the request that the stack's callback is about. */
    explicit kept_request(nua_t* stack) { nua_save_event(stack, event); }
    kept_request(const kept_request&) = delete;
    kept_request& operator=(const kept_request&) = delete;
    ~kept_request() { nua_destroy_event(event); }
    [[nodiscard]] nua_saved_event_t* get() { return event; }

  private:
    nua_saved_event_t event[1] = {};
};

/** A call and its leg. Owned by the exchange, which destroys it once the SIP library has said that
 *  it is terminated. The library owns the dialog, its timers and retransmissions. */
class call final : public party {
  public:
    using clock = std::chrono::steady_clock;

    /** What a caller asks for. */
    struct invitation {
        std::string room;
        std::string pin;    ///< of the room; empty for none
        std::string caller; ///< for the log
        std::string source; ///< address that the INVITE came from, dotted
    };

    call(exchange& owner, nua_handle_t* handle, std::uint64_t number, invitation wanted);
    call(const call&) = delete;
    call& operator=(const call&) = delete;
    ~call();

    /** A first INVITE, a re-INVITE or an UPDATE.
     *  @param offer  what was chosen of its session description, nothing when it has none */
    void requested(nua_t* stack, const sip_t* message, const std::optional<media_choice>& offer,
                   bool is_update);
    /** The caller has acknowledged our answer, or has answered our offer.
     *  @param answer  its session description, empty when we answered */
    void acknowledged(const sip_t* ack, std::string_view answer);
    /** The caller has answered a session refresh of ours, which had no description, with one. */
    void refreshed(std::string_view offer);
    /** The library forgets the dialog, because the caller does not answer a session refresh. */
    void forgotten(nua_t* stack);
    /** A telephone event has begun. */
    void key(unsigned event);
    /** Says BYE and leaves the room. */
    void hang_up(std::string_view reason);
    /** Gives up what the call has in the daemon; the caller has gone, or the daemon. */
    void release();
    /** Looks for what has taken too long; called a few times a second. */
    void look_after(clock::time_point now);
    /** The daemon has ended this leg of its. */
    void leg_ended(std::string_view id);
    /** A bridge has ended by itself. */
    void bridge_ended(std::string_view bridge);
    /** The SIP library has done with the call, which ends next. */
    void terminated();

    [[nodiscard]] media_leg* active_leg() override;
    [[nodiscard]] bool is_held() const override;
    [[nodiscard]] bool has_leg(std::string_view id) const;
    [[nodiscard]] std::uint64_t id() const { return number; }

  private:
    void take_offer(const media_choice& choice);
    void make_leg(const media_choice& choice);
    void leg_ready(bool success);
    [[nodiscard]] std::string session_description();
    [[nodiscard]] bool follow(std::string_view sdp);
    void answer();
    void refuse(std::string_view reason);
    void settle();
    void update_membership();
    void enter();
    void room_key(unsigned event);
    void log(std::string_view what, std::string_view detail = {}) const;

    exchange& owner;
    nua_handle_t* handle;
    std::uint64_t number;
    invitation wanted;
    farewell last_words;
    std::unique_ptr<kept_request> request; ///< that is to be answered
    bool request_is_update = false;
    bool request_is_empty = false; ///< it has no session description
    std::uint64_t session_number;  ///< in our descriptions, with the version
    std::uint64_t description_version = 0;
    std::string last_description;
    bool answered = false;     ///< the first INVITE has its 200
    bool offered = false;      ///< our 200 held the offer, and the answer is not here yet
    bool over = false;         ///< BYE was said, or heard
    clock::time_point waiting; ///< since when `request` is unanswered
    clock::time_point looked;  ///< when packets were last looked for
    int legs = 0;              ///< made so far; numbers their ids
    std::unique_ptr<media_leg> leg;
    std::unique_ptr<media_leg> next_leg; ///< takes the place of `leg` when it is acknowledged
    std::unique_ptr<lobby> waiting_room;
    room* place = nullptr; ///< owned by the exchange
    bool muted = false;
    clock::time_point star; ///< when the last * was pressed
};

} // namespace vocalink::dialin
