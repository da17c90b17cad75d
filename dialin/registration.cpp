// SPDX-License-Identifier: GPL-3.0-or-later
// The answer to REGISTER for softphones that do not call before they have registered.
#include "registration.hpp"

#include "su_home.hpp"

#include <string>

#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>

namespace vocalink::dialin {

void answer_registration(nua_t* stack, nua_handle_t* handle, const sip_t* sip) {
    constexpr sip_time_t usual_s = 3'600;
    const home_ptr home(su_home_create());
    sip_contact_t* contacts = sip_contact_dup(home.get(), sip->sip_contact);
    for (sip_contact_t** each = &contacts; *each != nullptr;) {
        const sip_time_t expires =
            sip_contact_expires(*each, sip->sip_expires, sip->sip_date, usual_s, sip_now());
        if (expires == 0 || (*each)->m_url->url_type == url_any) {
            *each = (*each)->m_next; // it is taken back
            continue;
        }
        // RFC 3261 10.3: each contact says how long it is good for.
        const std::string parameter = "expires=" + std::to_string(expires);
        msg_header_replace_param(home.get(), (*each)->m_common,
                                 su_strdup(home.get(), parameter.c_str()));
        each = &(*each)->m_next;
    }
    nua_respond(handle, SIP_200_OK, NUTAG_WITH_THIS(stack), SIPTAG_CONTACT(contacts), TAG_END());
    nua_handle_destroy(handle);
}

} // namespace vocalink::dialin
