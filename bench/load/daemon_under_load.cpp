// SPDX-License-Identifier: GPL-3.0-or-later
// Filling the daemon with calls through its control socket.
#include "load/daemon_under_load.hpp"

#include <cstdlib>
#include <stdexcept>

namespace vocalink::bench {

namespace {

constexpr const char* a_day_s = "86400";

} // namespace

std::string numbered(std::string name, std::size_t number) {
    return name += std::to_string(number);
}

daemon_under_load::daemon_under_load(int core, counting what)
    : probe(what == counting::allocations ? std::make_unique<allocation_probe>() : nullptr),
      process({"-t", a_day_s}), control(process.socket_path()) {
    if (probe) {
        probe->attached();
    }
    pin_to_core(process.pid(), core);
}

std::string daemon_under_load::command(const std::string& line) {
    std::string reply = control.command(line);
    if (reply.rfind("SUCCESS", 0) != 0) {
        throw std::runtime_error("\"" + line + "\" was answered with \"" + reply + "\"");
    }
    return reply;
}

std::uint16_t daemon_under_load::make_stream(const std::string& id, const sockaddr_in& remote,
                                             const std::string& encoding) {
    return harness::port_in_reply(command("new rtp_stream " + id + " 127.0.0.1 127.0.0.1 " +
                                          std::to_string(ntohs(remote.sin_port)) + " " + encoding));
}

measured_process daemon_under_load::make_pairs(std::size_t pairs, const sockaddr_in& remote) {
    measured_process target{process.pid(), {}};
    legs.clear();
    for (std::size_t pair = 0; pair < pairs; ++pair) {
        const std::string bridge = numbered("call", pair);
        command("new vocalink " + bridge);
        for (const char* side : {"caller", "callee"}) {
            legs.push_back(numbered(side, pair));
            target.ports.push_back(make_stream(legs.back(), remote, "PCMU"));
            command("join " + bridge + " " + legs.back());
        }
    }
    return target;
}

measured_process daemon_under_load::make_conference(std::size_t members, const sockaddr_in& remote,
                                                    const std::vector<std::string>& encodings) {
    measured_process target{process.pid(), {}};
    legs.clear();
    command("new vocalink room");
    for (std::size_t i = 0; i < members; ++i) {
        legs.push_back(numbered("m", i));
        target.ports.push_back(make_stream(legs.back(), remote, encodings[i % encodings.size()]));
        command("join room " + legs.back());
    }
    return target;
}

std::uint64_t daemon_under_load::delete_legs() {
    constexpr const char* key = "incoming_packets=";
    std::uint64_t packets = 0;
    for (const std::string& id : legs) {
        const std::string reply = command("delete stream " + id);
        const auto place = reply.find(key);
        if (place == std::string::npos) {
            throw std::runtime_error("no packet count in \"" + reply + "\"");
        }
        packets += std::strtoull(reply.c_str() + place + std::string(key).size(), nullptr, 10);
    }
    legs.clear();
    return packets;
}

void daemon_under_load::stop() {
    const int status = process.stop();
    if (status != 0) {
        throw std::runtime_error("the daemon ended with status " + std::to_string(status));
    }
}

} // namespace vocalink::bench
