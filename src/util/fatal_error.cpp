// SPDX-License-Identifier: GPL-3.0-or-later
// The end of a process that cannot start.
#include "util/fatal_error.hpp"

#include "util/log_line.hpp"
#include "util/log_writer.hpp"

#include <cstdlib>

namespace vocalink::util {

void fatal_error(int error, std::string_view what) {
    log_line("main") << "fatal error " << error << what << error_text(error);
    log_writer::finish();
    std::exit(1);
}

} // namespace vocalink::util
