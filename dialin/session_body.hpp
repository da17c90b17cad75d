// SPDX-License-Identifier: GPL-3.0-or-later
// The session description in the body of a SIP message.
#pragma once

#include <optional>
#include <string>

#include <sofia-sip/sip.h>

namespace vocalink::dialin {

/** The session description that a message carries, alone or in multipart/mixed. Other parts have to
 *  be marked as optional (RFC 3261 20.11).
 *  @return empty when there is none; nothing when something else has to be understood, or when two
 *          descriptions come at once */
[[nodiscard]] std::optional<std::string> session_description_of(const sip_t* message);

} // namespace vocalink::dialin
