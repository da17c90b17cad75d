// SPDX-License-Identifier: GPL-3.0-or-later
// Answers SIP calls and puts them into rooms: rooms, the daemon's notices, start and end.
#include "exchange.hpp"

#include "log_line.hpp"
#include "util/unique_fd.hpp"

#include <cerrno>
#include <charconv>
#include <vector>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vocalink::dialin {

namespace {

constexpr unsigned tick_ms = 250;
constexpr unsigned longest_shutdown_ms = 4'000;
constexpr int ticks_between_metrics = 20;

// The word at the beginning of a text, which it is taken off from.
std::string_view take_word(std::string_view& text) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(text.size(), word.size() + 1));
    return word;
}

} // namespace

exchange::exchange(event_loop& event_loop, const options& configured)
    : loop(event_loop), settings(configured),
      rooms_allowed(configured.rooms.empty() ? room_list() : room_list(configured.rooms)),
      link(event_loop, configured.socket, *this), sounds(link, configured.sounds),
      tick(event_loop, [this] { look_after_calls(); }), deadline(event_loop, [this] { finish(); }) {
    open_stack();
    log_line("dialin") << "answering SIP on " << settings.address << ':' << settings.port;
    look_after_calls();
}

exchange::~exchange() {
    calls.clear();
    rooms.clear();
    if (stack_is_down) {
        nua_destroy(stack);
    }
}

room& exchange::open_room(const std::string& name) {
    auto& entry = rooms[name];
    if (!entry) {
        entry = std::make_unique<room>(link, sounds, name);
    }
    return *entry;
}

void exchange::close_if_empty(room& candidate) {
    if (candidate.empty()) {
        rooms.erase(std::string(candidate.name()));
    }
}

std::string exchange::address_towards(const std::string& remote_ip) const {
    if (settings.address != "0.0.0.0") {
        return settings.address;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(9);
    ::inet_pton(AF_INET, remote_ip.c_str(), &address.sin_addr);
    socklen_t length = sizeof address;
    const util::unique_fd probe(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    // Connecting a datagram socket sends nothing; it asks the routing table.
    if (!probe || ::connect(probe.get(), reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::getsockname(probe.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return settings.address;
    }
    char text[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
}

void exchange::link_down() {
    sounds.clear();
    for (auto& [number, each] : calls) {
        each->hang_up("the daemon is gone");
    }
}

void exchange::notice(std::string_view line) {
    const std::string_view kind = take_word(line);
    const std::string_view object = take_word(line);
    const std::string_view id = take_word(line);
    if (kind == "DTMF_START" && object == "STREAM") {
        take_word(line); // EVENT
        const std::string_view event = take_word(line);
        unsigned code = 0;
        std::from_chars(event.data(), event.data() + event.size(), code);
        if (call* presser = call_of(id)) {
            presser->key(code);
        }
    } else if (kind == "TIMEOUT" && object == "STREAM") {
        stream_ended(id);
    } else if (kind == "TIMEOUT" && object == "BRIDGE") {
        bridge_ended(id);
    } else if (kind == "REC_FINISHED") {
        log_line("dialin") << "recording finished: " << object;
    }
}

call* exchange::call_of(std::string_view stream) {
    constexpr std::string_view prefix = "call:";
    std::uint64_t number = 0;
    if (stream.starts_with(prefix)) {
        std::from_chars(stream.data() + prefix.size(), stream.data() + stream.size(), number);
    }
    const auto found = calls.find(number);
    return found != calls.end() && found->second->has_leg(stream) ? found->second.get() : nullptr;
}

void exchange::stream_ended(std::string_view id) {
    if (call* owner = call_of(id)) {
        owner->leg_ended(id);
        return;
    }
    sounds.stream_ended(id);
    for (auto& [name, each] : rooms) {
        each->stream_ended(id);
    }
}

void exchange::bridge_ended(std::string_view id) {
    for (auto& [name, each] : rooms) {
        if (each->bridge() == id) {
            each->bridge_ended();
        }
    }
    for (auto& [number, each] : calls) {
        each->bridge_ended(id);
    }
}

void exchange::look_after_calls() {
    tick.start(tick_ms);
    const auto now = call::clock::now();
    for (auto& [number, each] : calls) {
        each->look_after(now);
    }
    if (--ticks_to_metrics < 0) {
        ticks_to_metrics = ticks_between_metrics - 1;
        write_metrics();
    }
}

void exchange::write_metrics() {
    if (settings.metrics.empty()) {
        return;
    }
    const gauges now{link.up(), calls.size(), rooms.size()};
    const bool written =
        replace_file(settings.metrics, metrics_text(settings.socket, counted, now));
    if (!written && !std::exchange(metrics_failed, true)) {
        log_line("dialin") << "cannot write " << settings.metrics << ": " << error_text(errno);
    }
}

void exchange::shut_down() {
    if (ending) {
        return;
    }
    ending = true;
    log_line("dialin") << "ending, with " << calls.size() << " calls";
    for (auto& [number, each] : calls) {
        each->hang_up("the front end ends");
    }
    deadline.start(longest_shutdown_ms);
    end_stack_when_idle();
}

// The SIP library looks only once a second whether calls that it ends itself are over.
void exchange::end_stack_when_idle() {
    if (ending && calls.empty()) {
        nua_shutdown(stack);
    }
}

void exchange::finish() {
    if (!settings.metrics.empty()) {
        ::unlink(settings.metrics.c_str()); // it would go on to tell of a daemon that is up
    }
    log_line("dialin") << "ended";
    loop.stop();
}

} // namespace vocalink::dialin
