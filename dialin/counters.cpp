// SPDX-License-Identifier: GPL-3.0-or-later
// What is counted, and its file for a metrics collector.
#include "counters.hpp"

#include "util/unique_fd.hpp"

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace vocalink::dialin {

namespace {

std::string metric(const std::string& name, const char* type, const char* help,
                   std::uint64_t value) {
    const std::string full = "vocalink_dialin_" + name;
    return "# HELP " + full + ' ' + help + "\n# TYPE " + full + ' ' + type + '\n' + full + ' ' +
           std::to_string(value) + '\n';
}

std::string refusals(const counters& totals) {
    const std::string name = "vocalink_dialin_refused_calls_total";
    const auto line = [&](const char* status, event_kind kind) {
        return name + "{status=\"" + status + "\"} " + std::to_string(totals.total(kind)) + '\n';
    };
    return "# HELP " + name + " Requests refused, by SIP status.\n# TYPE " + name + " counter\n" +
           line("404", event_kind::no_room) + line("415", event_kind::foreign_body) +
           line("488", event_kind::no_codec) + line("503", event_kind::no_daemon);
}

} // namespace

std::string metrics_text(const counters& totals, const gauges& now) {
    return metric("daemon_up", "gauge", "1 while the control connection stands.", now.daemon_up) +
           metric("calls", "gauge", "Calls at the moment.", now.calls) +
           metric("rooms", "gauge", "Rooms with callers.", now.rooms) +
           metric("invites_total", "counter", "First INVITEs received.",
                  totals.total(event_kind::invited)) +
           metric("answered_calls_total", "counter", "Calls answered.",
                  totals.total(event_kind::answered)) +
           metric("hung_up_calls_total", "counter", "Calls ended by us.",
                  totals.total(event_kind::hung_up)) +
           metric("left_calls_total", "counter", "Calls ended by the caller.",
                  totals.total(event_kind::left)) +
           refusals(totals);
}

bool replace_file(const std::string& path, const std::string& text) {
    const std::string fresh = path + ".new";
    const util::unique_fd file(
        ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    return file &&
           ::write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
           std::rename(fresh.c_str(), path.c_str()) == 0;
}

} // namespace vocalink::dialin
