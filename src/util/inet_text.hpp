// SPDX-License-Identifier: GPL-3.0-or-later
// Text forms of IPv4 addresses.
#pragma once

#include <ostream>
#include <string>

#include <netinet/in.h>

namespace vocalink {

namespace util {

/** Dotted-quad text, "NTOP_FAILED" when the system refuses the address. */
[[nodiscard]] std::string inetTranslateIp(in_addr address);

/** Address and port in host order, "10.0.0.5:4000"; "error( text)" when there is no text form. */
[[nodiscard]] std::string endpoint_text(const sockaddr_in& address);

/** Parses dotted text. @return false for any other text, leaving the address as it was */
[[nodiscard]] bool parse_ipv4(const std::string& text, in_addr& address);

} // namespace util

using util::inetTranslateIp;

} // namespace vocalink

// The socket structures live in the global namespace; so do their printers, for lookup by argument.

/** Dotted-quad text. */
std::ostream& operator<<(std::ostream& os, in_addr address);

/** The endpoint_text() of the address. */
std::ostream& operator<<(std::ostream& os, const sockaddr_in& address);
