// SPDX-License-Identifier: GPL-3.0-or-later
// Base64 (RFC 4648), for keys given as text.
#pragma once

#include <string>

namespace vocalink {

/** Whether c is one of the 64 characters; '=' is not. */
[[nodiscard]] bool is_base64(unsigned char c);

/** Groups of four characters, the last one padded with '='. */
[[nodiscard]] std::string base64_encode(const unsigned char* data, unsigned int len);

/** Decodes up to the first character outside the 64. An incomplete last group gives as many bytes
 *  as its characters hold. */
[[nodiscard]] std::string base64_decode(const std::string& text);

} // namespace vocalink
