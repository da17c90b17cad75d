// SPDX-License-Identifier: GPL-3.0-or-later
// The BYE in a dialog that the SIP library has forgotten.
#include "farewell.hpp"

#include "su_home.hpp"

#include <sofia-sip/sip.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_tag.h>

namespace vocalink::dialin {

namespace {

std::string value_of(const void* header) {
    const home_ptr home(su_home_create());
    const char* text =
        header ? sip_header_as_string(home.get(), static_cast<const sip_header_t*>(header))
               : nullptr;
    return text != nullptr ? text : "";
}

} // namespace

void farewell::note_request(const sip_t* request) {
    if (request->sip_contact != nullptr) {
        const home_ptr home(su_home_create());
        target = url_as_string(home.get(), request->sip_contact->m_url);
    }
    if (!call_id.empty()) {
        return; // the first request alone sets the route (RFC 3261 12.2)
    }
    routes.clear();
    for (const auto* each = request->sip_record_route; each != nullptr; each = each->r_next) {
        routes += (routes.empty() ? "" : ", ") + value_of(each);
    }
}

void farewell::note_ack(const sip_t* ack) {
    call_id = value_of(ack->sip_call_id);
    local = value_of(ack->sip_to);
    remote = value_of(ack->sip_from);
}

void farewell::say(nua_t* stack) const {
    nua_handle_t* handle =
        nua_handle(stack, nullptr, NUTAG_URL(target.c_str()), SIPTAG_CALL_ID_STR(call_id.c_str()),
                   SIPTAG_FROM_STR(local.c_str()), SIPTAG_TO_STR(remote.c_str()), TAG_END());
    nua_method(handle, NUTAG_METHOD("BYE"),
               TAG_IF(!routes.empty(), SIPTAG_ROUTE_STR(routes.c_str())), TAG_END());
}

} // namespace vocalink::dialin
