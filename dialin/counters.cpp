// SPDX-License-Identifier: GPL-3.0-or-later
// What is counted, and its file for a metrics collector.
#include "counters.hpp"

#include "util/unique_fd.hpp"

#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace vocalink::dialin {

namespace {

std::string escaped(const std::string& value) {
    std::string result;
    for (const char c : value) {
        result += c == '\\' || c == '"' ? std::string{'\\', c} : std::string(1, c);
    }
    return result;
}

// Front ends of one host differ by the daemon that they serve.
class writer {
  public:
    explicit writer(const std::string& socket) : label("socket=\"" + escaped(socket) + '"') {}

    void describe(const std::string& name, const char* type, const char* help) {
        text += "# HELP vocalink_dialin_" + name + ' ' + help + "\n# TYPE vocalink_dialin_" + name +
                ' ' + type + '\n';
    }
    void sample(const std::string& name, std::uint64_t value, const std::string& more = {}) {
        text +=
            "vocalink_dialin_" + name + '{' + label + more + "} " + std::to_string(value) + '\n';
    }
    void single(const std::string& name, const char* type, const char* help, std::uint64_t value) {
        describe(name, type, help);
        sample(name, value);
    }
    [[nodiscard]] std::string take() { return std::move(text); }

  private:
    std::string label;
    std::string text;
};

void write_refusals(writer& to, const counters& totals) {
    const std::string name = "refused_calls_total";
    to.describe(name, "counter", "Requests refused, by SIP status.");
    for (const auto& [status, kind] :
         {std::pair{"404", event_kind::no_room},
          std::pair{"406", event_kind::no_description_wanted},
          std::pair{"415", event_kind::foreign_body}, std::pair{"488", event_kind::no_codec},
          std::pair{"503", event_kind::no_daemon}}) {
        to.sample(name, totals.total(kind), std::string(",status=\"") + status + '"');
    }
}

} // namespace

std::string metrics_text(const std::string& socket, const counters& totals, const gauges& now) {
    writer to(socket);
    to.single("daemon_up", "gauge", "1 while the control connection stands.", now.daemon_up);
    to.single("calls", "gauge", "Calls at the moment.", now.calls);
    to.single("rooms", "gauge", "Rooms with callers.", now.rooms);
    to.single("invites_total", "counter", "First INVITEs received.",
              totals.total(event_kind::invited));
    to.single("answered_calls_total", "counter", "Calls answered.",
              totals.total(event_kind::answered));
    to.single("hung_up_calls_total", "counter", "Calls ended by us.",
              totals.total(event_kind::hung_up));
    to.single("left_calls_total", "counter", "Calls ended by the caller.",
              totals.total(event_kind::left));
    write_refusals(to, totals);
    return to.take();
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
