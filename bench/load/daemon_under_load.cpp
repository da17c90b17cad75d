// SPDX-License-Identifier: GPL-3.0-or-later
// Filling the daemon with calls through its control socket.
#include "load/daemon_under_load.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <stdexcept>
#include <string_view>

namespace vocalink::bench {

namespace {

constexpr const char* a_day_s = "86400";
constexpr const char* recording_name = "load"; // the files differ by a unique id

std::unique_ptr<counter_probe> probe_for(daemon_under_load::counting what) {
    switch (what) {
    case daemon_under_load::counting::allocations:
        return std::make_unique<counter_probe>(VOCALINK_ALLOCATION_COUNTER_PATH);
    case daemon_under_load::counting::system_calls:
        return std::make_unique<counter_probe>(VOCALINK_SYSTEM_CALL_COUNTER_PATH);
    case daemon_under_load::counting::off:
        break;
    }
    return nullptr;
}

std::string made(std::string directory) {
    std::filesystem::create_directory(directory);
    return directory;
}

/** A command line of these words. */
std::string line_of(std::initializer_list<std::string_view> words) {
    std::string line;
    for (const std::string_view word : words) {
        line.append(line.empty() ? 0 : 1, ' ').append(word);
    }
    return line;
}

/** The number behind "key=" in a reply. */
std::uint64_t number_in(const std::string& reply, const std::string& key) {
    const auto place = reply.find(key + "=");
    if (place == std::string::npos) {
        throw std::runtime_error("no " + key + " in \"" + reply + "\"");
    }
    return std::strtoull(reply.c_str() + place + key.size() + 1, nullptr, 10);
}

} // namespace

std::string numbered(std::string name, std::size_t number) {
    return name += std::to_string(number);
}

daemon_under_load::daemon_under_load(int core, counting what)
    : probe(probe_for(what)), process({"-t", a_day_s, "-a", made(directory.path() + "/work"), "-l",
                                       made(directory.path() + "/store")}),
      control(process.socket_path()) {
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
            command(line_of({"join", bridge, legs.back()}));
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

measured_process daemon_under_load::make_players(const std::vector<std::string>& files,
                                                 const sockaddr_in& remote) {
    measured_process target{process.pid(), {}};
    legs.clear();
    for (std::size_t i = 0; i < files.size(); ++i) {
        const std::string bridge = numbered("call", i);
        const std::string prompt = numbered("prompt", i);
        legs.push_back(numbered("listener", i));
        command("new vocalink " + bridge);
        command(line_of({"new sound_stream", prompt, files[i], "loop PCMU"}));
        target.ports.push_back(make_stream(legs.back(), remote, "PCMU"));
        command(line_of({"join", bridge, prompt}));
        command(line_of({"join", bridge, legs.back()}));
    }
    return target;
}

std::vector<leg_packets> daemon_under_load::delete_legs() {
    std::vector<leg_packets> packets;
    for (const std::string& id : legs) {
        const std::string reply = command("delete stream " + id);
        packets.push_back(
            {number_in(reply, "incoming_packets"), number_in(reply, "outgoing_packets")});
    }
    legs.clear();
    return packets;
}

std::vector<std::string> daemon_under_load::start_recordings() {
    const std::string success = "SUCCESS ";
    std::vector<std::string> paths;
    for (const std::string& id : legs) {
        const std::string reply = command(line_of({"recording start", id, recording_name, "pcap"}));
        paths.push_back(reply.substr(std::min(success.size(), reply.size())));
    }
    return paths;
}

void daemon_under_load::stop_recordings(std::chrono::milliseconds patience) {
    for (const std::string& id : legs) {
        command(line_of({"recording stop", id, recording_name}));
    }
    for (std::size_t finished = 0; finished < legs.size();) {
        const auto notice = control.notice(patience);
        if (!notice) {
            throw std::runtime_error(std::to_string(finished) + " of " +
                                     std::to_string(legs.size()) + " recordings were finished");
        }
        finished += notice->rfind("REC_FINISHED ", 0) == 0 ? 1 : 0;
    }
}

void daemon_under_load::stop() {
    const int status = process.stop();
    if (status != 0) {
        throw std::runtime_error("the daemon ended with status " + std::to_string(status));
    }
}

} // namespace vocalink::bench
