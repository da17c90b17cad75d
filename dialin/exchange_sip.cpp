// SPDX-License-Identifier: GPL-3.0-or-later
// Answers SIP calls and puts them into rooms: the SIP library's side.
#include "exchange.hpp"
#include "log_line.hpp"
#include "registration.hpp"
#include "session_body.hpp"

#include <array>
#include <stdexcept>

#include <arpa/inet.h>
#include <sofia-sip/msg_addr.h>
#include <sofia-sip/nta_tport.h>
#include <sofia-sip/sip.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>
#include <sofia-sip/sip_util.h>
#include <sofia-sip/tport_tag.h>
#include <sofia-sip/url.h>

namespace vocalink::dialin {

namespace {

constexpr const char* allowed_methods = "INVITE, ACK, BYE, CANCEL, OPTIONS, UPDATE, PRACK";
constexpr unsigned session_expires_s = 1'800; // RFC 4028; finds callers that vanish on hold
constexpr unsigned least_session_s = 90;
constexpr unsigned idle_connection_ms = 600'000; // telephones keep theirs through a call
constexpr unsigned spare_transactions = 100;     // for what is no call
constexpr unsigned half_message_ms = 10'000;
constexpr unsigned largest_message_bytes = 64 * 1024;

// The room that the request asks for; its name need not be well-formed.
std::string room_of(const sip_t* sip) {
    const char* user = sip->sip_request->rq_url->url_user;
    const std::string text = user != nullptr ? user : "";
    if (text.find("%00") != std::string::npos) {
        return {}; // the library's text would end there
    }
    std::string decoded(text.size() + 1, '\0');
    url_unescape(decoded.data(), text.c_str());
    decoded.resize(std::char_traits<char>::length(decoded.c_str()));
    return decoded;
}

// Where the request being handled came from, dotted.
std::string source_of(nua_t* stack) {
    msg_t* message = nua_current_request(stack);
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (message != nullptr) {
        const auto* address = reinterpret_cast<const sockaddr_in*>(msg_addr(message));
        ::inet_ntop(AF_INET, &address->sin_addr, text.data(), text.size());
    }
    return text.data();
}

event_kind refusal_of(int status) {
    switch (status) {
    case 404:
        return event_kind::no_room;
    case 406:
        return event_kind::no_description_wanted;
    case 415:
        return event_kind::foreign_body;
    case 488:
        return event_kind::no_codec;
    default:
        return event_kind::no_daemon;
    }
}

// Without the header a caller takes descriptions (RFC 3261 20.1).
bool takes_descriptions(const sip_accept_t* accepted) {
    bool takes = accepted == nullptr;
    for (; accepted != nullptr && !takes; accepted = accepted->ac_next) {
        const std::string_view type = accepted->ac_type ? accepted->ac_type : "";
        takes = type == "application/sdp" || type == "application/*" || type == "*/*";
    }
    return takes;
}

std::string printable(const url_t* url) {
    std::array<char, 128> text{};
    url_e(text.data(), text.size() - 1, url);
    std::string result = text.data();
    for (char& c : result) {
        c = c < ' ' || c > '~' ? '?' : c;
    }
    return result;
}

} // namespace

void exchange::open_stack() {
    const std::string url = "sip:" + settings.address + ':' + settings.port;
    stack = nua_create(loop.root(), stack_callback, reinterpret_cast<nua_magic_t*>(this),
                       NUTAG_URL(url.c_str()), NTATAG_MAXSIZE(largest_message_bytes),
                       NTATAG_UDP_MTU(65'535),
                       NTATAG_MAX_PROCEEDING(settings.most_calls + spare_transactions),
                       NTATAG_SERVER_RPORT(1), TPTAG_IDLE(idle_connection_ms),
                       TPTAG_TIMEOUT(half_message_ms), TPTAG_STUN_SERVER(0), TAG_END());
    if (stack == nullptr) {
        throw std::runtime_error("cannot answer SIP on " + settings.address + ':' + settings.port);
    }
    const std::string allowed =
        std::string(allowed_methods) + (settings.accepts_registers ? ", REGISTER" : "");
    // Offers and answers are ours: the library's own would be free to choose other codecs than the
    // leg has.
    nua_set_params(stack, NUTAG_MEDIA_ENABLE(0), NUTAG_AUTOACK(0),
                   SIPTAG_ALLOW_STR(allowed.c_str()), NUTAG_APPL_METHOD("OPTIONS, UPDATE"),
                   NUTAG_AUTOANSWER(0), NUTAG_AUTOALERT(0), NUTAG_SUPPORTED("timer, 100rel"),
                   NUTAG_SESSION_TIMER(session_expires_s), NUTAG_MIN_SE(least_session_s),
                   NUTAG_UPDATE_REFRESH(0),
                   SIPTAG_USER_AGENT_STR("vocalink-dialin/" VOCALINK_VERSION), TAG_END());
}

void exchange::stack_callback(nua_event_t event, int status, const char*, nua_t*, nua_magic_t* self,
                              nua_handle_t* handle, nua_hmagic_t* known, const sip_t* sip,
                              tagi_t tags[]) {
    reinterpret_cast<exchange*>(self)->stack_event(event, status, handle,
                                                   reinterpret_cast<call*>(known), sip, tags);
}

void exchange::stack_event(nua_event_t event, int status, nua_handle_t* handle, call* known,
                           const sip_t* sip, tagi_t tags[]) {
    switch (event) {
    case nua_i_invite:
    case nua_i_update:
        if (status >= 200) {
            break; // the library has refused it
        }
        if (known == nullptr) {
            invited(handle, sip);
        } else if (std::optional<media_choice> offer; read_offer(handle, sip, offer)) {
            known->requested(stack, sip, offer, event == nua_i_update);
        }
        break;
    case nua_i_ack:
        if (known != nullptr) {
            known->acknowledged(sip, session_description_of(sip).value_or(""));
        }
        break;
    case nua_r_invite: // a session refresh of ours, as is UPDATE
    case nua_r_update:
        if (known != nullptr && (status == 408 || status == 481)) {
            known->forgotten(stack);
        } else if (known != nullptr && event == nua_r_invite && status >= 200 && status < 300) {
            known->refreshed(session_description_of(sip).value_or(""));
        }
        break;
    case nua_r_method: // a BYE outside of what the library knows
        if (status >= 200) {
            nua_handle_destroy(handle);
        }
        break;
    case nua_i_register:
        if (status < 200) {
            answer_registration(stack, handle, sip);
        }
        break;
    case nua_i_options:
        asked_for_options(handle, known == nullptr);
        break;
    case nua_i_state:
        state_changed(handle, known, tags);
        break;
    case nua_r_shutdown:
        if (status >= 200) {
            stack_is_down = true;
            finish();
        }
        break;
    default:
        break;
    }
}

void exchange::invited(nua_handle_t* handle, const sip_t* sip) {
    const std::string room = room_of(sip);
    const auto pin = rooms_allowed.find(room);
    std::optional<media_choice> offer;
    counted.add(event_kind::invited);
    if (!pin) {
        refuse(handle, SIP_404_NOT_FOUND, "no such room");
    } else if (!link.up() || link.stalled() || ending) {
        refuse(handle, SIP_503_SERVICE_UNAVAILABLE, "no daemon");
    } else if (calls.size() >= settings.most_calls) {
        refuse(handle, SIP_503_SERVICE_UNAVAILABLE, "too many calls");
    } else if (read_offer(handle, sip, offer)) {
        begin_call(handle, sip, room, *pin).requested(stack, sip, offer, false);
    }
}

// False when the request is refused for its body, or for what ours would be. A stranger may send such at any rate, so there is
// no call yet which would write to the log.
bool exchange::read_offer(nua_handle_t* handle, const sip_t* sip,
                          std::optional<media_choice>& offer) {
    if (!takes_descriptions(sip->sip_accept)) {
        refuse(handle, SIP_406_NOT_ACCEPTABLE, "it accepts no session description");
        return false;
    }
    const auto description = session_description_of(sip);
    if (!description) {
        refuse(handle, SIP_415_UNSUPPORTED_MEDIA, "its body is no session description");
        return false;
    }
    if (description->empty()) {
        return true;
    }
    auto choice = choose_media(*description, settings.addresses, source_of(stack));
    if (const auto* reason = std::get_if<std::string_view>(&choice)) {
        refuse(handle, SIP_488_NOT_ACCEPTABLE, *reason);
        return false;
    }
    offer = std::get<media_choice>(std::move(choice));
    return true;
}

call& exchange::begin_call(nua_handle_t* handle, const sip_t* sip, const std::string& room,
                           const std::string& pin) {
    const std::string source = source_of(stack);
    const std::string caller =
        (sip->sip_from ? printable(sip->sip_from->a_url) : "") + " at " + source;
    auto fresh = std::make_unique<call>(*this, handle, ++last_call,
                                        call::invitation{room, pin, caller, source});
    nua_handle_bind(handle, reinterpret_cast<nua_hmagic_t*>(fresh.get()));
    if (sip_is_allowed(sip->sip_allow, sip_method_update, "UPDATE") && sip->sip_allow) {
        nua_set_hparams(handle, NUTAG_UPDATE_REFRESH(1), TAG_END());
    }
    return *calls.emplace(last_call, std::move(fresh)).first->second;
}

void exchange::refuse(nua_handle_t* handle, int status, const char* phrase,
                      std::string_view reason) {
    counted.add(refusal_of(status));
    refusals.note(status, reason);
    nua_respond(handle, status, phrase, NUTAG_WITH_THIS(stack),
                TAG_IF(status == 503, SIPTAG_RETRY_AFTER_STR(retry_after_s)),
                TAG_IF(status == 415, SIPTAG_ACCEPT_STR("application/sdp, multipart/mixed")),
                TAG_END());
}

void exchange::asked_for_options(nua_handle_t* handle, bool is_new) {
    if (link.up() && !ending) {
        nua_respond(handle, SIP_200_OK, NUTAG_WITH_THIS(stack), TAG_END());
    } else {
        nua_respond(handle, SIP_503_SERVICE_UNAVAILABLE, NUTAG_WITH_THIS(stack),
                    SIPTAG_RETRY_AFTER_STR(retry_after_s), TAG_END());
    }
    if (is_new) {
        nua_handle_destroy(handle);
    }
}

void exchange::state_changed(nua_handle_t* handle, call* known, tagi_t tags[]) {
    int state = nua_callstate_init;
    tl_gets(tags, NUTAG_CALLSTATE_REF(state), TAG_END());
    if (state != nua_callstate_terminated) {
        return;
    }
    if (known != nullptr) {
        nua_handle_bind(handle, nullptr);
        known->terminated();
        calls.erase(known->id());
    }
    nua_handle_destroy(handle);
    if (known != nullptr) {
        end_stack_when_idle();
    }
}

} // namespace vocalink::dialin
