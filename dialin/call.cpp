// SPDX-License-Identifier: GPL-3.0-or-later
// One SIP call, from its INVITE to its end.
#include "call.hpp"

#include "exchange.hpp"
#include "log_line.hpp"

#include <utility>

#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>

namespace vocalink::dialin {

namespace {

using namespace std::chrono_literals;

constexpr auto longest_wait = 3750ms; // for the daemon, so that the caller hears within 4 s
constexpr int looks = 6;              // for packets in the time that a caller may be silent

} // namespace

call::call(exchange& desk, nua_handle_t* dialog, std::uint64_t id, invitation invite)
    : owner(desk), handle(dialog), number(id), wanted(std::move(invite)),
      session_number(
          static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count())) {
    log("call from " + wanted.caller + " to room " + wanted.room);
}

call::~call() {
    release();
}

void call::log(std::string_view what, std::string_view detail) const {
    log_line("call", std::to_string(number)) << what << detail;
}

bool call::is_held() const {
    return leg == nullptr || leg->choice().is_held();
}

media_leg* call::active_leg() {
    return is_held() ? nullptr : leg.get();
}

bool call::has_leg(std::string_view id) const {
    return (leg && leg->id() == id) || (next_leg && next_leg->id() == id);
}

void call::requested(nua_t* stack, const sip_t* message, const std::optional<media_choice>& offer,
                     bool is_update) {
    if (over) {
        nua_respond(handle, SIP_481_NO_TRANSACTION, NUTAG_WITH_THIS(stack), TAG_END());
        return;
    }
    if (request || next_leg) { // unanswered, or answered and not acknowledged
        nua_respond(handle, SIP_491_REQUEST_PENDING, NUTAG_WITH_THIS(stack), TAG_END());
        return;
    }
    last_words.note_request(message);
    request = std::make_unique<kept_request>(stack);
    request_is_update = is_update;
    request_is_empty = !offer;
    waiting = clock::now();
    if (offer) {
        take_offer(*offer);
        return;
    }
    offered = !is_update;
    leg || is_update ? answer() : make_leg(our_offer());
}

void call::take_offer(const media_choice& choice) {
    if (leg && leg->choice().audio == choice.audio) {
        leg->follow(choice);
        answer();
    } else {
        make_leg(choice);
    }
}

void call::make_leg(const media_choice& choice) {
    const std::string& towards = choice.remote_ip == "0.0.0.0" ? wanted.source : choice.remote_ip;
    next_leg = std::make_unique<media_leg>(
        owner.daemon(), "call:" + std::to_string(number) + ':' + std::to_string(++legs), choice,
        leg ? leg->local_ip() : owner.address_towards(towards),
        [this](bool success) { leg_ready(success); });
}

void call::leg_ready(bool success) {
    if (success) {
        answer();
    } else {
        refuse("the daemon refuses a leg");
    }
}

std::string call::session_description() {
    const media_leg* described = next_leg ? next_leg.get() : leg.get();
    if (described == nullptr) {
        return {};
    }
    media_choice choice = described->choice();
    if (offered) {
        choice.flow = direction::both; // a caller on hold may come back with the answer
    }
    const std::string text = describe(choice, described->local_ip(), described->local_port());
    if (text != last_description) {
        ++description_version; // RFC 3264 8: one more with each change
        last_description = text;
    }
    return "v=0\r\no=vocalink " + std::to_string(session_number) + ' ' +
           std::to_string(description_version) + " IN IP4 " + described->local_ip() + "\r\n" + text;
}

void call::answer() {
    const bool has_description = !(request_is_update && request_is_empty);
    const std::string sdp = has_description ? session_description() : "";
    nua_respond(handle, SIP_200_OK, NUTAG_WITH_SAVED(request->get()),
                TAG_IF(!sdp.empty(), SIPTAG_CONTENT_TYPE_STR("application/sdp")),
                TAG_IF(!sdp.empty(), SIPTAG_PAYLOAD_STR(sdp.c_str())), TAG_END());
    request.reset();
    if (!std::exchange(answered, true)) {
        owner.count().add(event_kind::answered);
        log("answered with ", (leg ? leg : next_leg)->choice().audio->word);
    }
    if (request_is_update) {
        settle();
    }
}

void call::refuse(std::string_view reason) {
    log("refused with 503: ", reason);
    owner.count().add(event_kind::no_daemon);
    nua_respond(handle, SIP_503_SERVICE_UNAVAILABLE, NUTAG_WITH_SAVED(request->get()),
                SIPTAG_RETRY_AFTER_STR(retry_after_s), TAG_END());
    request.reset();
    next_leg.reset();
    offered = false;
    over = over || !answered;
}

void call::acknowledged(const sip_t* ack, std::string_view sdp) {
    last_words.note_ack(ack);
    if (!std::exchange(offered, false) || follow(sdp)) {
        settle();
    }
}

void call::refreshed(std::string_view sdp) {
    if (sdp.empty()) {
        nua_ack(handle, TAG_END());
    } else if (follow(sdp)) {
        const std::string ours = session_description();
        nua_ack(handle, SIPTAG_CONTENT_TYPE_STR("application/sdp"),
                SIPTAG_PAYLOAD_STR(ours.c_str()), TAG_END());
        settle();
    }
}

// Takes over what a description says about the codec that the leg has.
bool call::follow(std::string_view sdp) {
    media_leg* described = next_leg ? next_leg.get() : leg.get();
    if (described != nullptr) {
        const auto choice = choose_media(sdp, owner.configuration().addresses, wanted.source,
                                         described->choice().audio);
        if (const auto* accepted = std::get_if<media_choice>(&choice)) {
            described->follow(*accepted);
            return true;
        }
    }
    hang_up("its answer to our offer is of no use");
    return false;
}

// What was answered is now in force.
void call::settle() {
    if (over) {
        return;
    }
    if (next_leg) {
        leg = std::move(next_leg);
        if (muted) {
            leg->mute(true);
        }
    }
    if (place == nullptr && !waiting_room) {
        if (wanted.pin.empty()) {
            enter();
        } else {
            waiting_room = std::make_unique<lobby>(owner.daemon(), owner.player(),
                                                   "lobby:" + std::to_string(number), wanted.pin);
        }
    }
    update_membership();
}

void call::hang_up(std::string_view reason) {
    if (over) {
        return;
    }
    if (!answered) {
        refuse(reason);
        return;
    }
    log("hung up: ", reason);
    owner.count().add(event_kind::hung_up);
    release();
    nua_bye(handle, TAG_END());
}

void call::forgotten(nua_t* stack) {
    if (!over) {
        log("hung up: ", "no answer to a session refresh");
        owner.count().add(event_kind::hung_up);
    }
    release();
    last_words.say(stack); // even if BYE was said: it may have waited for that answer
}

void call::release() {
    over = true;
    waiting_room.reset();
    if (place != nullptr) {
        room& left = *std::exchange(place, nullptr);
        left.leave(*this);
        owner.close_if_empty(left);
    }
    leg.reset();
    next_leg.reset();
    request.reset();
}

void call::look_after(clock::time_point now) {
    if (request && now - waiting >= longest_wait) {
        refuse("the daemon does not answer");
        return;
    }
    const auto silence = owner.configuration().silence;
    if (over || !leg || leg->choice().flow != direction::both) {
        return;
    }
    if (now - leg->last_heard() >= silence) {
        hang_up("no media");
    } else if (now - looked >= std::chrono::duration_cast<clock::duration>(silence) / looks) {
        looked = now;
        leg->look_for_packets();
    }
}

void call::terminated() {
    if (!over) {
        log(answered ? "the caller has left" : "the caller has given up");
        owner.count().add(event_kind::left);
    }
    release();
}

void call::leg_ended(std::string_view id) {
    if (leg && leg->id() == id && leg->choice().is_held()) {
        leg.reset(); // idle for long; another is made when the caller comes back
    } else {
        hang_up("the daemon has ended its leg");
    }
}

} // namespace vocalink::dialin
