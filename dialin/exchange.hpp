// SPDX-License-Identifier: GPL-3.0-or-later
// Answers SIP calls and puts them into rooms.
#pragma once

#include "call.hpp"
#include "control_link.hpp"
#include "counters.hpp"
#include "options.hpp"
#include "refusal_log.hpp"
#include "room.hpp"
#include "room_list.hpp"
#include "sound_player.hpp"

#include <map>
#include <memory>
#include <optional>
#include <string>

#include <sofia-sip/nua.h>

namespace vocalink::dialin {

/** When a refused caller may try again, as the header wants it. */
inline constexpr const char* retry_after_s = "10";

/** Owns the SIP stack, the link to the daemon, the calls and the rooms. */
class exchange final : public link_listener {
  public:
    /** @throws std::runtime_error when the SIP port cannot be opened */
    exchange(event_loop& loop, const options& configured);
    exchange(const exchange&) = delete;
    exchange& operator=(const exchange&) = delete;
    ~exchange();

    /** Says BYE to all calls, and stops the loop when they are gone, or after 5 s. */
    void shut_down();
    /** True once every transaction is over. Before, the SIP library cannot be taken down. */
    [[nodiscard]] bool is_down() const { return stack_is_down; }

    // For the calls:
    [[nodiscard]] control_link& daemon() { return link; }
    [[nodiscard]] sound_player& player() { return sounds; }
    [[nodiscard]] const options& configuration() const { return settings; }
    [[nodiscard]] counters& count() { return counted; }
    /** The room of that name, made when there is none. */
    [[nodiscard]] room& open_room(const std::string& name);
    /** Ends the room when it is empty. */
    void close_if_empty(room& candidate);
    /** The address of this machine that a far end reaches; empty when there is no way to it. */
    [[nodiscard]] std::string address_towards(const std::string& remote_ip) const;

    void link_up() override {}
    void link_down() override;
    void notice(std::string_view line) override;

  private:
    static void stack_callback(nua_event_t event, int status, const char* phrase, nua_t* stack,
                               nua_magic_t* self, nua_handle_t* handle, nua_hmagic_t* call,
                               const sip_t* sip, tagi_t tags[]);
    void stack_event(nua_event_t event, int status, nua_handle_t* handle, call* known,
                     const sip_t* sip, tagi_t tags[]);
    void open_stack();
    void invited(nua_handle_t* handle, const sip_t* sip);
    [[nodiscard]] bool read_offer(nua_handle_t* handle, const sip_t* sip,
                                  std::optional<media_choice>& offer);
    call& begin_call(nua_handle_t* handle, const sip_t* sip, const std::string& room,
                     const std::string& pin);
    void refuse(nua_handle_t* handle, int status, const char* phrase, std::string_view reason);
    void state_changed(nua_handle_t* handle, call* known, tagi_t tags[]);
    void asked_for_options(nua_handle_t* handle, bool is_new);
    void stream_ended(std::string_view id);
    void bridge_ended(std::string_view id);
    call* call_of(std::string_view stream);
    void look_after_calls();
    void write_metrics();
    void end_stack_when_idle();
    void finish();

    event_loop& loop;
    const options& settings;
    room_list rooms_allowed;
    counters counted;
    control_link link;
    sound_player sounds;
    std::map<std::string, std::unique_ptr<room>> rooms;
    std::map<std::uint64_t, std::unique_ptr<call>> calls;
    std::uint64_t last_call = 0;
    nua_t* stack = nullptr;
    bool ending = false;
    bool stack_is_down = false;
    refusal_log refusals;
    int ticks_to_metrics = 0;
    bool metrics_failed = false;
    timer tick;
    timer deadline; ///< of the shutdown
};

} // namespace vocalink::dialin
