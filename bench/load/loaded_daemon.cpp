// SPDX-License-Identifier: GPL-3.0-or-later
// Filling the daemon with calls through its control socket.
#include "load/loaded_daemon.hpp"

#include "load/benchmarks.hpp"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace vocalink::bench {

loaded_daemon::loaded_daemon(std::uint16_t remote_port, bool counting) : remote(remote_port) {
    if (counting) {
        std::ofstream{counter_path};
        clear_counts();
        setenv(counter_file_variable, counter_path.c_str(), 1);
        setenv("LD_PRELOAD", VOCALINK_COUNTERS_PATH, 1);
    }
    daemon.emplace(std::vector<std::string>{"-t", "86400"});
    unsetenv("LD_PRELOAD");
    control.emplace(daemon->socket_path());
    started.pid = daemon->pid();
    pin(started.pid, role::server);
    if (counting && counts()[heap_allocations] == 0) {
        throw std::runtime_error("the counter was not loaded into the daemon");
    }
}

counter_values loaded_daemon::counts() const {
    counter_values values{};
    std::ifstream(counter_path).read(reinterpret_cast<char*>(&values), sizeof values);
    return values;
}

void loaded_daemon::clear_counts() const {
    const counter_values none{};
    std::fstream file(counter_path, std::ios::in | std::ios::out); // not cut: it is mapped
    file.write(reinterpret_cast<const char*>(&none), sizeof none);
}

loaded_daemon::~loaded_daemon() {
    if (daemon && daemon->stop() != 0) {
        fail("the daemon ended badly");
    }
}

std::string loaded_daemon::command(const std::string& line) {
    std::string reply = control->command(line);
    if (!reply.starts_with("SUCCESS")) {
        throw std::runtime_error("\"" + line + "\" was answered with \"" + reply + "\"");
    }
    return reply;
}

void loaded_daemon::add_stream(const std::string& id, const std::string& encoding) {
    started.ports.push_back(
        harness::port_in_reply(command("new rtp_stream " + id + " 127.0.0.1 127.0.0.1 " +
                                       std::to_string(remote) + " " + encoding)));
    legs.push_back(id);
}

void loaded_daemon::add_bridges(const std::string& type, std::size_t all_legs,
                                std::size_t legs_each, const std::vector<std::string>& encodings) {
    for (std::size_t i = 0; i < all_legs; ++i) {
        const std::string bridge = " room" + std::to_string(i / legs_each);
        if (i % legs_each == 0) {
            command("new " + type + bridge);
        }
        add_stream("m" + std::to_string(i), encodings[i % encodings.size()]);
        command("join" + bridge + " " + legs.back());
    }
}

void loaded_daemon::add_players(const std::vector<std::string>& files) {
    add_bridges("vocalink", files.size(), 1);
    for (std::size_t i = 0; i < files.size(); ++i) {
        const std::string number = std::to_string(i);
        command("new sound_stream prompt" + number + " " + files[i] + " loop PCMU");
        command("join room" + number + " prompt" + number);
    }
}

void loaded_daemon::start_recordings() {
    for (const std::string& id : legs) {
        recordings[id] = command("recording start " + id + " load pcap").substr(8);
    }
}

void loaded_daemon::finish_recordings() {
    for (const std::string& id : legs) {
        command("recording stop " + id + " load");
    }
    for (std::size_t finished = 0; finished < legs.size();) {
        const auto notice = control->notice(std::chrono::seconds(20)); // for one file's move
        finished += notice.value().starts_with("REC_FINISHED ") ? 1 : 0;
    }
}

std::vector<ended_leg> loaded_daemon::delete_legs() {
    std::vector<ended_leg> ended;
    for (const std::string& id : std::exchange(legs, {})) {
        ended_leg& leg = ended.emplace_back();
        std::sscanf(command("delete stream " + id).c_str(),
                    "SUCCESS incoming_packets=%" SCNu64 " outgoing_packets=%" SCNu64, &leg.incoming,
                    &leg.outgoing);
        leg.recording = recordings[id];
    }
    started.ports.clear();
    return ended;
}

} // namespace vocalink::bench
