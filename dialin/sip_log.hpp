// SPDX-License-Identifier: GPL-3.0-or-later
// What the SIP library has to say, in our log.
#pragma once

namespace vocalink::dialin {

/** Sends the SIP library's warnings to the log, the first of each kind only: they are about what
 *  comes from the network, and that may come at any rate. */
void take_over_sip_log();

} // namespace vocalink::dialin
