// SPDX-License-Identifier: GPL-3.0-or-later
// What the program tells about itself.
#pragma once

namespace vocalink {

/** Such as "1.0.0"; the build sets it. */
extern const char* const program_version;

/** What --help prints. */
extern const char* const usage_text;

} // namespace vocalink
