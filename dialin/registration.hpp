// SPDX-License-Identifier: GPL-3.0-or-later
// The answer to REGISTER for softphones that do not call before they have registered.
#pragma once

#include <sofia-sip/nua.h>

namespace vocalink::dialin {

/** Answers the REGISTER that the stack's callback is about with 200 and the caller's own contacts.
 *  Nothing is kept of it, and no call can be made to them. */
void answer_registration(nua_t* stack, nua_handle_t* handle, const sip_t* sip);

} // namespace vocalink::dialin
