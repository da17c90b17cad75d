// SPDX-License-Identifier: GPL-3.0-or-later
// Answers SIP calls and puts them into rooms: the SIP library's side.
#include "exchange.hpp"
#include "log_line.hpp"

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
#include <strings.h>

namespace vocalink::dialin {

namespace {

constexpr const char* allowed_methods = "INVITE, ACK, BYE, CANCEL, OPTIONS, UPDATE, PRACK";
constexpr unsigned session_expires_s = 1'800; // RFC 4028; finds callers that vanish on hold
constexpr unsigned least_session_s = 90;
constexpr unsigned idle_connection_ms = 600'000; // telephones keep theirs through a call
constexpr unsigned spare_transactions = 100;     // for what is no call
constexpr unsigned half_message_ms = 10'000;
constexpr unsigned largest_message_bytes = 64 * 1024;

// A body that is no session description, such as several in one.
bool has_foreign_body(const sip_t* sip) {
    return sip->sip_payload != nullptr && sip->sip_payload->pl_len > 0 &&
           (sip->sip_content_type == nullptr || sip->sip_content_type->c_type == nullptr ||
            ::strcasecmp(sip->sip_content_type->c_type, "application/sdp") != 0);
}

// The session description of a message, empty when it has none.
std::string_view description_of(const sip_t* sip) {
    if (sip == nullptr || sip->sip_payload == nullptr || sip->sip_payload->pl_data == nullptr) {
        return {};
    }
    return {sip->sip_payload->pl_data, sip->sip_payload->pl_len};
}

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
    // Offers and answers are ours: the library's own would be free to choose other codecs than the
    // leg has.
    nua_set_params(stack, NUTAG_MEDIA_ENABLE(0), NUTAG_AUTOACK(0),
                   SIPTAG_ALLOW_STR(allowed_methods), NUTAG_APPL_METHOD("OPTIONS, UPDATE"),
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
        if (has_foreign_body(sip)) {
            nua_respond(handle, SIP_415_UNSUPPORTED_MEDIA, NUTAG_WITH_THIS(stack),
                        SIPTAG_ACCEPT_STR("application/sdp"), TAG_END());
        } else if (known != nullptr) {
            known->requested(stack, description_of(sip), event == nua_i_update);
        } else {
            invited(handle, sip);
        }
        break;
    case nua_i_ack:
        if (known != nullptr) {
            known->acknowledged(description_of(sip));
        }
        break;
    case nua_r_invite: // a session refresh of ours
        if (known != nullptr && status >= 200 && status < 300) {
            known->refreshed(description_of(sip));
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
    counted.add(event_kind::invited);
    if (!pin) {
        refuse(handle, SIP_404_NOT_FOUND, "no such room");
    } else if (!link.up() || link.stalled() || ending) {
        refuse(handle, SIP_503_SERVICE_UNAVAILABLE, "no daemon");
    } else if (calls.size() >= settings.most_calls) {
        refuse(handle, SIP_503_SERVICE_UNAVAILABLE, "too many calls");
    } else {
        const std::string source = source_of(stack);
        const std::string caller =
            (sip->sip_from ? printable(sip->sip_from->a_url) : "") + " at " + source;
        auto fresh = std::make_unique<call>(*this, handle, ++last_call,
                                            call::invitation{room, *pin, caller, source});
        nua_handle_bind(handle, reinterpret_cast<nua_hmagic_t*>(fresh.get()));
        if (sip_is_allowed(sip->sip_allow, sip_method_update, "UPDATE") && sip->sip_allow) {
            nua_set_hparams(handle, NUTAG_UPDATE_REFRESH(1), TAG_END());
        }
        call& accepted = *calls.emplace(last_call, std::move(fresh)).first->second;
        accepted.requested(stack, description_of(sip), false);
    }
}

void exchange::refuse(nua_handle_t* handle, int status, const char* phrase,
                      std::string_view reason) {
    counted.add(status == 404 ? event_kind::no_room : event_kind::no_daemon);
    refusals.note(status, reason);
    nua_respond(handle, status, phrase, NUTAG_WITH_THIS(stack),
                TAG_IF(status == 503, SIPTAG_RETRY_AFTER_STR(retry_after_s)), TAG_END());
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
}

} // namespace vocalink::dialin
