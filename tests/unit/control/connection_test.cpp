// SPDX-License-Identifier: GPL-3.0-or-later
// What a controller is told when it does not read, or while a command goes on.
#include "base/config.hpp"
#include "control/connection.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>

#include <sys/socket.h>

namespace vocalink {
namespace {

class connection_test : public ::testing::Test {
  public:
    void forget_caller(std::string) { caller = nullptr; }

  protected:
    connection_test() {
        int ends[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        client.reset(ends[0]);
        caller = new connection("1", util::unique_fd(ends[1]), turns);
    }
    ~connection_test() override { delete caller; }

    void send(const std::string& bytes) {
        EXPECT_EQ(::send(client.get(), bytes.data(), bytes.size(), 0),
                  static_cast<ssize_t>(bytes.size()));
    }

    /** Lets the connection run until the client has received a line that begins so. @return all
     *  that it received until then */
    std::string receive_until(const std::string& line) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (received.find("\n" + line) == std::string::npos || !received.ends_with('\n')) {
            EXPECT_LT(std::chrono::steady_clock::now(), deadline) << line << " did not come";
            if (::testing::Test::HasFailure()) {
                break;
            }
            ev_run(ev_default_loop(0), EVRUN_NOWAIT);
            std::array<char, 65536> buffer;
            const auto size = ::recv(client.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
            received.append(buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
        }
        return received;
    }

    char* no_arguments[1] = {nullptr};
    config options{0, no_arguments};
    util::unique_fd client;
    command_turns turns;
    connection* caller;
    std::string received;
};

TEST_F(connection_test, tells_how_many_notices_were_dropped_where_they_are_missing) {
    constexpr int sent = 3000;
    for (int i = 0; i < sent; ++i) {
        caller->notify(std::string(1000, 'n'));
    }
    const std::string all = receive_until("NOTICES DROPPED ");
    const auto lines = std::count(all.begin(), all.end(), '\n') - 2; // less greeting and gap
    EXPECT_GT(lines, 1000);
    EXPECT_TRUE(all.ends_with("n\nNOTICES DROPPED " + std::to_string(sent - lines) + "\n"));
    caller->notify("next");
    EXPECT_TRUE(receive_until("next").ends_with("\nnext\n")) << "the gap is told once";
}

TEST_F(connection_test, lists_many_objects_in_order_and_sends_notices_of_that_time_behind) {
    std::string list;
    for (int i = 100; i < 500; ++i) {
        const std::string id = std::to_string(i);
        caller->objects.adopt(std::make_unique<bridge>(id));
        list += (list.empty() ? "" : ",") + id + ",()";
    }
    send("list bridges\n");
    ev_run(ev_default_loop(0), EVRUN_NOWAIT);
    caller->notify("late");
    EXPECT_EQ(receive_until("late"), "RECOVER_OK\nSUCCESS " + list + "\nlate\n");
}

TEST_F(connection_test, ends_the_objects_of_a_client_that_has_gone_in_turns) {
    for (int i = 0; i < 5000; ++i) {
        caller->objects.adopt(std::make_unique<bridge>(std::to_string(i)));
    }
    caller->deleted.connect(this, &connection_test::forget_caller);
    client.reset();
    ev_run(ev_default_loop(0), EVRUN_NOWAIT);
    ASSERT_NE(caller, nullptr);
    EXPECT_LT(caller->objects.bridges().size(), 5000U);
    EXPECT_FALSE(caller->objects.empty()) << "all at once would hold up packets";
    ev_run(ev_default_loop(0), 0); // until there is nothing left to watch
    EXPECT_EQ(caller, nullptr);
}

} // namespace
} // namespace vocalink
