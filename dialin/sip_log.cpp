// SPDX-License-Identifier: GPL-3.0-or-later
// What the SIP library has to say, in our log.
#include "sip_log.hpp"

#include "log_line.hpp"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <set>
#include <string>

#include <sofia-sip/su_log.h>

namespace vocalink::dialin {

namespace {

constexpr unsigned warnings = 3;

void write_once(void*, const char* format, va_list arguments) {
    // A format is a kind; there are as many as the library has log statements.
    static std::set<std::string, std::less<>> seen;
    if (!seen.emplace(format).second) {
        return;
    }
    std::array<char, 512> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    for (char& c : text) {
        if (c != '\0' && (c < ' ' || c > '~')) {
            c = ' '; // what came from the network writes no line of its own
        }
    }
    std::string line = text.data();
    line.erase(line.find_last_not_of(' ') + 1);
    if (!line.empty()) {
        log_line("sip") << line << " (said once)";
    }
}

} // namespace

void take_over_sip_log() {
    su_log_redirect(nullptr, write_once, nullptr);
    su_log_set_level(nullptr, warnings);
}

} // namespace vocalink::dialin
