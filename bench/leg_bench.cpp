// SPDX-License-Identifier: GPL-3.0-or-later
// Making and ending a leg while many others exist, and the system's part of it: a bound socket.
#include "base/config.hpp"
#include "control/owned_objects.hpp"
#include "streams/rtp_stream.hpp"
#include "util/descriptor_limit.hpp"
#include "util/event_loop.hpp"
#include "util/log_writer.hpp"
#include "util/unique_fd.hpp"

#include <benchmark/benchmark.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using vocalink::util::unique_fd;

/** @return one of four addresses by turns: a single one has fewer ports than legs are wanted */
std::string address_of(std::int64_t leg) {
    return "127.0.0." + std::to_string(1 + leg % 4);
}

/** Whether so many sockets may be open. */
bool admits(benchmark::State& state, std::int64_t sockets) {
    vocalink::util::raise_descriptor_limit();
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const bool enough = static_cast<std::int64_t>(limit.rlim_cur) > sockets + 50;
    if (!enough) {
        state.SkipWithError("too few descriptors; raise the hard limit");
    }
    return enough;
}

/** Sends what the daemon would log into nothing. */
class silenced_log {
  public:
    silenced_log() {
        ::dup2(unique_fd(::open("/dev/null", O_WRONLY | O_CLOEXEC)).get(), STDERR_FILENO);
        writer.emplace();
    }
    silenced_log(const silenced_log&) = delete;
    ~silenced_log() {
        writer.reset();
        ::dup2(usual.get(), STDERR_FILENO);
    }

  private:
    const unique_fd usual{::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)};
    std::optional<vocalink::util::log_writer> writer;
};

void make_and_end_leg(benchmark::State& state) {
    if (!admits(state, state.range(0))) {
        return;
    }
    const silenced_log silence;
    char* no_arguments[1]{};
    const vocalink::config options(0, no_arguments);
    const ev::default_loop loop;
    vocalink::owned_objects legs;
    const auto make = [&](std::int64_t leg) {
        return &legs.adopt(std::make_unique<vocalink::rtp_stream>(
            "leg" + std::to_string(leg), address_of(leg), "127.0.0.1", 9, "PCMU"));
    };
    for (std::int64_t leg = 0; leg < state.range(0); ++leg) {
        make(leg);
    }
    std::int64_t next = state.range(0);
    for ([[maybe_unused]] auto leg : state) {
        delete make(next++);
    }
}
BENCHMARK(make_and_end_leg)->ArgName("others")->Arg(1'000)->Arg(9'000)->Arg(18'000);

void make_and_close_socket(benchmark::State& state) {
    if (!admits(state, state.range(0))) {
        return;
    }
    int port = 6000;
    const auto make = [&](std::int64_t leg) {
        unique_fd made(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        sockaddr_in address{AF_INET, 0, {::inet_addr(address_of(leg).c_str())}, {}};
        do {
            port = port == 64998 ? 6000 : port + 2;
            address.sin_port = htons(static_cast<std::uint16_t>(port));
        } while (::bind(made.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0);
        return made;
    };
    std::vector<unique_fd> others;
    for (std::int64_t leg = 0; leg < state.range(0); ++leg) {
        others.push_back(make(leg));
    }
    std::int64_t next = state.range(0);
    for ([[maybe_unused]] auto leg : state) {
        make(next++);
    }
}
BENCHMARK(make_and_close_socket)->ArgName("others")->Arg(1'000)->Arg(9'000)->Arg(18'000);

} // namespace
