// SPDX-License-Identifier: GPL-3.0-or-later
// One line of diagnostics, composed and handed on whole.
#include "util/log_line.hpp"

#include "util/log_writer.hpp"

#include <system_error>

namespace vocalink::util {

log_line::log_line(std::string_view component) {
    text.append("-- ").append(component).append(": ");
}

log_line::log_line(std::string_view component, std::string_view id) {
    text.append("-- ").append(component).append("(").append(id).append("): ");
}

log_line::~log_line() {
    text += '\n';
    write_log(text);
}

std::string error_text(int error_number) {
    return std::generic_category().message(error_number);
}

} // namespace vocalink::util
