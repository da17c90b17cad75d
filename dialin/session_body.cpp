// SPDX-License-Identifier: GPL-3.0-or-later
// The session description in the body of a SIP message.
#include "session_body.hpp"

#include "su_home.hpp"

#include <string_view>

#include <sofia-sip/msg_header.h>
#include <sofia-sip/msg_mime.h>
#include <strings.h>

namespace vocalink::dialin {

namespace {

bool is_type(const msg_content_type_t* type, const char* wanted) {
    return type != nullptr && type->c_type != nullptr && ::strcasecmp(type->c_type, wanted) == 0;
}

std::string text_of(const msg_payload_t* payload) {
    return payload != nullptr && payload->pl_data != nullptr
               ? std::string(payload->pl_data, payload->pl_len)
               : std::string();
}

// Whether the bytes of a part are the description as it is.
bool is_plain(const msg_multipart_t& part) {
    const auto* coding = part.mp_content_transfer_encoding;
    const std::string_view name = coding && coding->g_string ? coding->g_string : "binary";
    return part.mp_content_encoding == nullptr && name != "base64" && name != "quoted-printable";
}

std::optional<std::string> description_in_parts(const msg_content_type_t* type,
                                                const msg_payload_t* payload) {
    const home_ptr home(su_home_create());
    // The parser works on a list and may change what is in it.
    msg_payload_t* copy = msg_payload_create(home.get(), payload->pl_data, payload->pl_len);
    const msg_multipart_t* part = copy ? msg_multipart_parse(home.get(), type, copy) : nullptr;
    std::optional<std::string> found;
    for (; part != nullptr; part = part->mp_next) {
        const auto* disposition = part->mp_content_disposition;
        if (is_type(part->mp_content_type, "application/sdp") && is_plain(*part) && !found) {
            found = text_of(part->mp_payload);
        } else if (disposition == nullptr || !disposition->cd_optional) {
            return std::nullopt;
        }
    }
    return found;
}

} // namespace

std::optional<std::string> session_description_of(const sip_t* message) {
    const msg_payload_t* payload = message != nullptr ? message->sip_payload : nullptr;
    if (payload == nullptr || payload->pl_len == 0) {
        return "";
    }
    const msg_content_type_t* type = message->sip_content_type;
    if (message->sip_content_encoding != nullptr) {
        return std::nullopt;
    }
    if (is_type(type, "multipart/mixed")) {
        return description_in_parts(type, payload);
    }
    return is_type(type, "application/sdp") ? std::optional(text_of(payload)) : std::nullopt;
}

} // namespace vocalink::dialin
