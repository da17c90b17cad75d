// SPDX-License-Identifier: GPL-3.0-or-later
// Replies that come later or in parts, and what a controller is told when it does not read.
#include "base/exceptions.hpp"
#include "control/connection.hpp"
#include "unit_test.hpp"

#include <sys/socket.h>

namespace vocalink {
namespace {

std::shared_ptr<pending_reply> owed; // what the handler below returns

command_result reply_later(connection&, word_list&) {
    return owed;
}

class connection_test : public loop_test {
  public:
    void forget_caller(std::string) { caller = nullptr; }

  protected:
    connection_test() {
        int ends[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        client.reset(ends[0]);
        caller = new connection("1", util::unique_fd(ends[1]), turns);
        owed = std::make_shared<pending_reply>();
    }
    ~connection_test() override { delete caller; }

    void send(const std::string& bytes) {
        EXPECT_EQ(::send(client.get(), bytes.data(), bytes.size(), 0),
                  static_cast<ssize_t>(bytes.size()));
    }

    std::string run(const std::string& line, command_handler* handler = run_from_table) {
        return command_run(*caller, {.text = line}, handler).proceed().value();
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

    util::unique_fd client;
    command_turns turns{std::chrono::microseconds(1)}; // a piece of work in each iteration
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
    for (int i = 0; i < sent; ++i) {
        caller->notify(std::string(1000, 'n'));
    }
    send("recover\n");
    const auto reply = receive_until("RECOVER_OK").rfind("\nRECOVER_OK");
    EXPECT_EQ(received.rfind("\nNOTICES", reply), received.rfind('\n', reply - 1));
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
    const std::string huge(2'000'000, 'n');
    for (const std::string& notice : {std::string("late"), huge, std::string("dropped")}) {
        caller->notify(notice);
    }
    const std::string all = receive_until("nn");
    EXPECT_TRUE(all.ends_with("SUCCESS " + list + "\nlate\n" + huge + "\n"));
    EXPECT_NE(all.find("\nNOTICES DROPPED 1\n"), std::string::npos);
}

TEST_F(connection_test, ends_the_objects_of_a_client_that_has_gone_in_turns) {
    for (int i = 0; i < 5000; ++i) {
        caller->objects.adopt(std::make_unique<bridge>(std::to_string(i)));
    }
    caller->deleted.connect(this, &connection_test::forget_caller);
    client.reset();
    for (int i = 0; i < 5; ++i) {
        ev_run(ev_default_loop(0), EVRUN_NOWAIT);
    }
    ASSERT_NE(caller, nullptr);
    EXPECT_LT(caller->objects.bridges().size(), 5000U);
    EXPECT_FALSE(caller->objects.empty()) << "all at once would hold up packets";
    ev_run(ev_default_loop(0), 0); // until there is nothing left to watch
    EXPECT_EQ(caller, nullptr);
}

TEST_F(connection_test, features_change_who_hears_whom_as_their_words_say) {
    EXPECT_EQ(run("new tone_stream s DTMF 0"), "SUCCESS\n");
    const stream& s = *caller->objects.find_stream("s");
    const std::pair<const char*, const char*> story[] = {
        {"set stream s targets c a a", "heard by abc, hears abc"},
        {"set stream s restricted", "heard by ac, hears abc"},
        {"set stream s sources b", "heard by ac, hears abc"},
        {"set stream s selective", "heard by ac, hears b"},
        {"clear stream s targets more words", "heard by , hears b"},
        {"clear stream s restricted", "heard by abc, hears b"},
        {"clear stream s sources", "heard by abc, hears "},
        {"clear stream s selective", "heard by abc, hears abc"}};
    for (const auto& [command, expected] : story) {
        EXPECT_EQ(run(command), "SUCCESS\n");
        std::string heard_by, hears;
        for (const std::string id : {"a", "b", "c"}) {
            heard_by += s.may_be_heard_by(id) ? id : "";
            hears += s.wants_to_hear(id) ? id : "";
        }
        EXPECT_EQ("heard by " + heard_by + ", hears " + hears, expected) << command;
    }
}

TEST_F(connection_test, listings_escape_ids_and_tables_follow_the_order_asked_for) {
    const std::string end = "127.7.0.3 127.7.0.3 9 PCMU", address = ",127.007.000.003,";
    EXPECT_TRUE(run("new rtp_stream \"x,(1) \" " + end).starts_with("SUCCESS"));
    EXPECT_TRUE(run("new rtp_stream B " + end).starts_with("SUCCESS"));
    const std::string list = run("list streams");
    EXPECT_TRUE(list.starts_with("SUCCESS (B,0" + address));
    EXPECT_NE(list.find(address + "9),(x\\,\\(1\\) ,0" + address), std::string::npos) << list;
    testing::internal::CaptureStderr();
    EXPECT_EQ(run("show streams \"x,(1) \" none B B"), "SUCCESS\n");
    std::istringstream words(testing::internal::GetCapturedStderr());
    std::string word, shown;
    while (words >> word) {
        shown += word == "x,(1)" || word == "B" ? word : "";
    }
    EXPECT_EQ(shown, "BBx,(1)BB") << "in the command, quoted, and in the table";
}

TEST_F(connection_test, replies_later_with_what_the_rest_of_the_command_returns_or_throws) {
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

TEST_F(connection_test, replies_with_an_error_when_memory_or_the_library_fails) {
    EXPECT_EQ(run("any", [](auto&, auto&) -> command_result { throw std::bad_alloc(); }),
              "ERROR COMMAND_ERROR out of memory\n");
    EXPECT_EQ(run("any", [](auto&, auto&) -> command_result { throw std::logic_error("why"); }),
              "ERROR COMMAND_ERROR why\n");
}

TEST_F(connection_test, abandons_the_reply_when_it_ends_first) {
    int undone = 0;
    std::optional<command_run> cut_short(std::in_place, *caller, command_line{}, reply_later);
    EXPECT_EQ(cut_short->proceed(), std::nullopt);
    owed->undo = [&undone] { undone += 1; };
    cut_short.reset();
    EXPECT_EQ(undone, 1);
    const auto held = std::make_shared<int>();
    owed->finish([held](owned_objects&) { return "SUCCESS"; });
    EXPECT_EQ(held.use_count(), 1) << "nobody is left to reply to";
}

} // namespace
} // namespace vocalink
