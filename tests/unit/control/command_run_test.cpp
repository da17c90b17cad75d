// SPDX-License-Identifier: GPL-3.0-or-later
// Commands whose reply comes later, or in parts.
#include "base/exceptions.hpp"
#include "control/connection.hpp"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include <sys/socket.h>

namespace vocalink {
namespace {

std::shared_ptr<pending_reply> owed; // what the handlers below return

command_result reply_later(connection&, word_list&) {
    return owed;
}

class command_run_test : public ::testing::Test {
  protected:
    command_run_test() {
        int ends[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        client.reset(ends[0]);
        caller = new connection("1", util::unique_fd(ends[1]), turns);
        owed = std::make_shared<pending_reply>();
    }
    ~command_run_test() override { delete caller; }

    util::unique_fd client;
    command_turns turns;
    connection* caller;
};

TEST_F(command_run_test, replies_later_with_what_the_rest_of_the_command_returns_or_throws) {
    command_run failing(*caller, {.text = "open"}, reply_later);
    EXPECT_EQ(failing.proceed(), std::nullopt);
    EXPECT_TRUE(failing.waits());
    owed->finish([](owned_objects&) -> command_result { throw stream_exception("no"); });
    EXPECT_FALSE(failing.waits());
    EXPECT_EQ(failing.proceed(), "ERROR STREAM_ERROR no\n");

    owed = std::make_shared<pending_reply>();
    owed->finish([](owned_objects&) { return "SUCCESS at once"; }); // before the handler returns
    command_run quick(*caller, {.text = "open"}, reply_later);
    EXPECT_EQ(quick.proceed(), std::nullopt);
    EXPECT_FALSE(quick.waits());
    EXPECT_EQ(quick.proceed(), "SUCCESS at once\n");
}

TEST_F(command_run_test, replies_with_an_error_when_memory_or_the_library_fails) {
    const auto reply_to = [this](command_handler* handler) {
        return command_run(*caller, {.text = "any"}, handler).proceed().value();
    };
    EXPECT_EQ(reply_to([](connection&, word_list&) -> command_result { throw std::bad_alloc(); }),
              "ERROR COMMAND_ERROR out of memory\n");
    EXPECT_EQ(reply_to([](connection&, word_list&) -> command_result {
                  throw std::runtime_error("no clock");
              }),
              "ERROR COMMAND_ERROR no clock\n");
}

TEST_F(command_run_test, abandons_the_reply_when_it_ends_first) {
    int undone = 0;
    {
        command_run cut_short(*caller, {.text = "open"}, reply_later);
        EXPECT_EQ(cut_short.proceed(), std::nullopt);
        owed->undo = [&undone] { undone += 1; };
    }
    EXPECT_EQ(undone, 1);
    owed->finish([](owned_objects&) -> command_result {
        ADD_FAILURE() << "nobody is left to reply to";
        return "";
    });
}

TEST_F(command_run_test, goes_on_in_steps_until_one_has_the_reply) {
    command_run counting(*caller, {.text = "count"}, [](connection&, word_list&) {
        return command_result::in_steps([n = 0]() mutable -> std::optional<std::string> {
            return ++n < 3 ? std::nullopt : std::optional("SUCCESS " + std::to_string(n));
        });
    });
    EXPECT_EQ(counting.proceed(), std::nullopt);
    EXPECT_FALSE(counting.waits());
    EXPECT_EQ(counting.proceed(), std::nullopt);
    EXPECT_EQ(counting.proceed(), "SUCCESS 3\n");
}

} // namespace
} // namespace vocalink
