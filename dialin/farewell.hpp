// SPDX-License-Identifier: GPL-3.0-or-later
// The BYE in a dialog that the SIP library has forgotten.
#pragma once

#include <string>

#include <sofia-sip/nua.h>

namespace vocalink::dialin {

/** Keeps what a BYE needs. The library forgets a dialog without one when a session refresh is not
 *  answered, or is by 408 or 481; RFC 3261 12.2.1.2 and RFC 4028 10 want it said. */
class farewell {
  public:
    /** An INVITE or UPDATE of the caller says where requests to him go. */
    void note_request(const sip_t* request);
    /** The ACK names both ends of the dialog. */
    void note_ack(const sip_t* ack);
    /** Says BYE on a new handle, which its response, nua_r_method, is for. */
    void say(nua_t* stack) const;

  private:
    std::string target; ///< URI of the caller's Contact
    std::string routes; ///< value of the Route header, may be empty
    std::string call_id;
    std::string local; ///< with the tag, as the next two
    std::string remote;
};

} // namespace vocalink::dialin
