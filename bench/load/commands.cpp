// SPDX-License-Identifier: GPL-3.0-or-later
// Controllers that never pause: how long the daemon's packets wait for them.
#include "load/benchmarks.hpp"
#include "load/loaded_daemon.hpp"

#include <algorithm>
#include <atomic>
#include <deque>
#include <vector>

namespace vocalink::bench {

namespace {

constexpr std::size_t members = 100; // of the mix that goes on meanwhile
constexpr int own_streams = 200;     // of each controller
constexpr double longest_wait_us = 5000;

std::string repeated(const std::string& text, int times) {
    std::string all;
    while (times-- > 0) {
        all += text;
    }
    return all;
}

/** Sends one command after the other, each as heavy as a line can make it. */
class busy_controller {
  public:
    explicit busy_controller(const std::string& socket_path) : control(socket_path) {
        for (int i = 0; i < own_streams; ++i) {
            (void)control.command("new tone_stream t" + std::to_string(i) + " DTMF 0");
        }
    }
    void begin() {
        sender = std::jthread([this](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                for (const std::string& line : lines) {
                    (void)control.command(line);
                    done += 1;
                }
            }
        });
    }
    std::atomic<std::uint64_t> done = 0;

  private:
    const std::vector<std::string> lines{"show streams" + repeated(" t0", 5000),
                                         "set stream t0 targets" + repeated(" other", 2500),
                                         "list streams",
                                         "new rtp_stream z 127.0.0.1 127.0.0.1 9 G729",
                                         "delete stream z",
                                         repeated("x", 16000)};
    harness::controller control;
    std::jthread sender;
};

/** Counts anew for one round. @return the longest turn of the loop, in microseconds */
double longest_turn_us(const loaded_daemon& daemon) {
    daemon.clear_counts();
    std::this_thread::sleep_for(std::chrono::duration<double>(round_s));
    return static_cast<double>(daemon.counts()[longest_turn_ns]) / 1000;
}

} // namespace

void measure_commands(benchmark::State& state) {
    loaded_daemon daemon(9, true);
    daemon.add_bridges("vocalink", members, members);
    std::deque<busy_controller> controllers;
    while (controllers.size() < size_of(state)) {
        controllers.emplace_back(daemon.socket_path());
    }
    const double quiet = longest_turn_us(daemon);
    std::ranges::for_each(controllers, &busy_controller::begin);
    const double busy = longest_turn_us(daemon);
    double commands = 0;
    for (const busy_controller& each : controllers) {
        commands += static_cast<double>(each.done);
    }
    add_row(state, "commands a second", commands / round_s);
    add_row(state, "longest turn of the loop without them, CPU us", quiet);
    add_row(state, "longest turn of the loop, CPU us", busy);
    state.counters["longest turn of the loop, CPU us: wanted"] = longest_wait_us;
}

void measure_reply(benchmark::State& state) {
    load_socket socket;
    loaded_daemon daemon(socket.port());
    daemon.add_bridges("vocalink", 2 * size_of(state), 2);
    std::atomic<bool> over = false;
    std::vector<double> waits_us;
    std::thread controller([&] {
        for (; !over; std::this_thread::sleep_for(std::chrono::milliseconds(7))) {
            const auto asked = std::chrono::steady_clock::now();
            daemon.command("stats stream m0");
            const std::chrono::duration<double> wait = std::chrono::steady_clock::now() - asked;
            waits_us.push_back(1e6 * wait.count());
        }
    });
    (void)relay_traffic(socket, daemon.process()).run(round_s);
    over = true;
    controller.join();
    std::ranges::sort(waits_us);
    add_row(state, "wait for a reply, median, us", waits_us[waits_us.size() / 2]);
    state.counters["wait for a reply, median, us: wanted"] = 300;
}

} // namespace vocalink::bench
