// SPDX-License-Identifier: GPL-3.0-or-later
// What a controller sends, through framing, parser and handlers, until it has gone.
//
// Input: the bytes that it sends; 0x01 ends a piece that is read by itself, and lets 60 ms pass.
#include "control/connection.hpp"
#include "support/input.hpp"
#include "support/world.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <fstream>
#include <memory>
#include <string>

#include <sys/socket.h>

using namespace vocalink;
using fuzz::world;

namespace {

constexpr int rounds = 4; // of the loop, after each piece; opening a file takes some
constexpr std::size_t longest_piece = 32768;

/** The other end of a connection. */
struct controller {
    controller() {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            std::abort();
        }
        socket.reset(ends[0]);
        caller = new connection("1", util::unique_fd(ends[1]), turns); // ends itself
        caller->deleted.connect(this, &controller::forget);
    }
    void forget(std::string) { caller = nullptr; }
    void read_all() {
        std::array<char, 65536> replies;
        while (::recv(socket.get(), replies.data(), replies.size(), MSG_DONTWAIT) > 0) {
        }
    }

    command_turns turns;
    util::unique_fd socket;
    connection* caller = nullptr;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    world& around = world::instance();
    around.begin();
    std::ofstream(around.directory() + "/sound") << std::string(400, 'x');
    controller client;
    const std::uint8_t* const end = data + size;
    for (const std::uint8_t* at = data; at < end;) {
        const std::uint8_t* const mark = std::find(at, end, 1);
        const auto bytes = std::min(static_cast<std::size_t>(mark - at), longest_piece);
        (void)!::send(client.socket.get(), at, bytes, MSG_DONTWAIT | MSG_NOSIGNAL);
        for (int round = 0; round < rounds; ++round) {
            around.pass_time(15);
            around.wait_for_workers();
        }
        client.read_all();
        at = mark == end ? end : mark + 1;
    }
    ::shutdown(client.socket.get(), SHUT_WR);
    while (client.caller != nullptr) {
        client.read_all();
        around.pass_time(1);
        around.wait_for_workers();
    }
    around.clear_directory();
    return 0;
}
