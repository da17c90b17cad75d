// SPDX-License-Identifier: GPL-3.0-or-later
// Text, keys as text, time values, identifiers, dumps, options and signals.
#include "unit_test.hpp"
#include "util/base64.hpp"
#include "util/hex_dump.hpp"
#include "util/loop_lag.hpp"
#include "util/packet_poll.hpp"
#include "util/rate_guard.hpp"
#include "util/retry.hpp"
#include "util/signal.hpp"
#include "util/text.hpp"
#include "util/time_values.hpp"
#include "util/unique_id.hpp"

#include <thread>

namespace vocalink::util {
namespace {

using words = std::vector<std::string>;

TEST(parse_args, separates_words_at_blanks_that_are_neither_quoted_nor_escaped) {
    const std::pair<const char*, words> rows[] = {
        {"  set  \"a b\" a\"b\"c tab\tcr \"\" ", {"set", "a b", "abc", "tab\tcr"}},
        {R"(a\ b \"q\" c\\d "in\"side")", {"a b", "\"q\"", "c\\d", "in\"side"}},
        {R"("open  end\)", {"open  end"}},
        {R"(a\;b ";c" d)", {"a;b"}}};
    for (const auto& [line, expected] : rows) {
        std::deque<std::string> parsed;
        parse_args(line, parsed, ';');
        EXPECT_EQ(words(parsed.begin(), parsed.end()), expected) << line;
    }
}

TEST(text, is_split_joined_trimmed_and_cut) {
    EXPECT_EQ(split(",a,,b,", ','), (words{"", "a", "", "b"}));
    EXPECT_EQ(join({"", "a", "b"}, ',') + util_basename("a/b/") + util_basename(""), ",a,bb");
    EXPECT_EQ(splitTagValue("1=a,1=b=c", ',').at(1), "b=c");
    EXPECT_THROW((void)splitTagValue("1=a,b", ','), std::exception);
    std::string blanks = "   ", padded = "xxaxbxx";
    trim(blanks);
    EXPECT_EQ(blanks + strip(padded, 'x') + escape("a,b(c)\\"), "axba\\,b\\(c\\)\\");
    EXPECT_EQ(format("%s %d", std::string(2000, 'x').c_str(), 1), std::string(1023, 'x'));
}

TEST(time_values, normalise_by_the_sign_that_the_seconds_had_first_compare_and_print) {
    const timespec rows[][3] = {{{1, 999'999'999}, {0, 1}, {2, 0}},
                                {{0, 0}, {0, -1}, {0, -1}},
                                {{1, 0}, {-2, -500'000'000}, {-1, -500'000'000}},
                                {{1, 0}, {0, -1}, {0, 999'999'999}},
                                {{-1, 0}, {0, 1}, {0, -999'999'999}},
                                {{-1, 0}, {1, 9}, {0, 9}},
                                {{1, -900'000'000}, {0, -600'000'000}, {-1, 500'000'000}}};
    for (const auto& [a, b, sum] : rows) {
        EXPECT_EQ(raw(a + b) + raw(a - timespec{-b.tv_sec, -b.tv_nsec}), raw(sum) + raw(sum));
        const int order = (a < b) + 2 * (a > b) + 4 * (a <= b) + 8 * (a >= b) + 16 * (a != b);
        EXPECT_EQ(order, nanoSeconds(a) < nanoSeconds(b) ? 1 + 4 + 16 : 2 + 8 + 16);
        EXPECT_TRUE(a == a && a <= a && a >= a && !(a < a) && !(a > a));
    }
    EXPECT_EQ(hsec({0, 0}) + hsec({0, 100'000'000}) + hsec({-1, 100'001}), "0ns100000us-1s100us");
    EXPECT_EQ(hsec({3, 0}) + fixed({2, 5'900'000}, 3) + fixed({7, 9}, 0), "3s2.0057.");
}

TEST(base64, writes_padded_groups_and_reads_up_to_what_it_does_not_know) {
    for (const std::string text : {"", "Zg==", "Zm8=", "Zm9vYmFy", "/+++"}) {
        const std::string bytes = base64_decode(text);
        const auto* const data = reinterpret_cast<const unsigned char*>(bytes.data());
        EXPECT_EQ(base64_encode(data, static_cast<unsigned int>(bytes.size())), text);
    }
    EXPECT_EQ(base64_decode("QUJD=QUJD") + base64_decode("QUJDR QUJD"), "ABCABC");
    EXPECT_EQ(base64_decode("/+++"), "\xFF\xEF\xBE");
}

TEST(unique_id, counts_in_base_34_never_repeats_and_ends_in_an_unseeded_rand) {
    EXPECT_EQ(to_base34m(0) + to_base34m(33) + to_base34m(35) + to_base34m(1155), "Z11ZZ");
    EXPECT_EQ(to_base34m(34) + to_base34m(1156), std::string({'\0', '\0', '0'}));
    std::srand(1); // where a process that seeds nothing starts
    const std::string random_part = to_base34m(std::rand() % 1122ULL + 34);
    std::srand(1);
    EXPECT_TRUE(uniqueid().ends_with("-" + random_part));
    std::set<std::string> clocks; // without the random part
    for (int i = 0; i < 10'000; ++i) {
        const std::string id = uniqueid();
        clocks.insert(id.substr(0, id.find('-')));
    }
    EXPECT_EQ(clocks.size(), 10'000U);
}

TEST(rate_guard, admits_so_many_in_each_second) {
    rate_guard guard(2);
    EXPECT_TRUE(guard.admit(5.0) && guard.admit(5.5) && !guard.admit(5.9) && guard.admit(6.0));
    EXPECT_EQ(guard.take_refused() + guard.take_refused(), 1);
}

TEST(retry_on_signal, goes_on_while_the_call_is_interrupted) {
    int calls = 0;
    EXPECT_EQ(retry_on_signal([&] { return errno = EINTR, ++calls < 3 ? -1 : 7; }), 7);
}

TEST(hex_dump, shows_offset_bytes_and_characters) {
    EXPECT_EQ(dump("A\xFF", 2), "0000: 41FF" + std::string(35, ' ') + "A.\n");
    setenv("dump_cformat", "", 1);
    EXPECT_EQ(dump("ABCDEFG\nI", 9),
              "char hexdump[9] = \n{\n"
              "  /* 0000 */ 0x41,0x42,0x43,0x44, 0x45,0x46,0x47,0x0A, // ABCDEFG.\n"
              "  /* 0008 */ 0x49                                      // I\n};");
    unsetenv("dump_cformat");
}

config parsed(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "vocalink");
    return {static_cast<int>(arguments.size()), const_cast<char**>(arguments.data())};
}

TEST(config, takes_the_last_of_each_option_and_goes_on_after_an_unknown_one) {
    const config given = parsed({"-t", "5", "-x", "word", "-s", "s1", "-ss2", "-t", "soon"});
    EXPECT_EQ(&config::instance(), &given);
    EXPECT_EQ(given.timeout_seconds, 0);
    EXPECT_STREQ(given.server_socket_path, "s2");
    EXPECT_STREQ(given.client_socket_path, "/tmp/vocalink-sock");
    for (const auto& [timeout, period] : {std::pair("-9", 0), {"5", 0}, {"6", 1}, {"35", 5}}) {
        EXPECT_EQ(parsed({"-t", timeout}).idle_check_period(), period);
    }
}

TEST(config, knows_two_long_options_and_what_is_wanted_first) {
    EXPECT_EQ(parsed({"-c", "recover", "word", "-V", "--help"}).mode(), program_mode::help);
    EXPECT_EQ(parsed({"-s", "s", "--version"}).mode(), program_mode::version);
    EXPECT_EQ(parsed({"-s", "s", "-c", "recover"}).mode(), program_mode::serve);
    EXPECT_EQ(parsed({"-c", "recover"}).mode(), program_mode::command);
    EXPECT_STREQ(parsed({"-a", "--help"}).work_dir, "--help");
    EXPECT_EQ(parsed({"-a", "--help", "--", "--version"}).mode(), program_mode::relay);
    EXPECT_EQ(parsed({"--t7"}).timeout_seconds, 7) << "letters of an unknown one are options";
}

std::string heard; // the names of the listeners called, in order

struct listener {
    void hear(int) { note(); }
    void note() {
        heard += name;
        reaction();
    }

    char name;
    std::function<void()> reaction = [] {};
};

class signal_test : public testing::Test {
  protected:
    void connect(std::size_t i) { signal->connect(&all[i], &listener::hear); }
    void disconnect(std::size_t i) { signal->disconnect(&all[i], &listener::hear); }
    std::string emit() {
        signal->emit(0);
        return std::exchange(heard, "");
    }

    std::array<listener, 5> all{{{'a'}, {'b'}, {'c'}, {'d'}, {'e'}}};
    std::unique_ptr<signal1<int>> signal = std::make_unique<signal1<int>>();
};

TEST_F(signal_test, calls_each_listener_once_by_address_and_tells_of_every_change) {
    signal->changed.connect(&all[0], &listener::note);
    for (const std::size_t i : {3, 0, 1, 4, 2, 3}) {
        connect(i);
    }
    EXPECT_EQ(emit(), "aaaaaaabcde");
    disconnect(3);
    disconnect(3);
    EXPECT_EQ(emit(), "aaabce");
}

TEST_F(signal_test, skips_who_left_during_an_emission_and_who_came_and_survives_a_throw) {
    connect(0);
    connect(1);
    all[0].reaction = [this] { disconnect(1), connect(2); };
    EXPECT_EQ(emit(), "a");
    all[0].reaction = [] { throw std::exchange(heard, ""); };
    EXPECT_THROW(emit(), std::string);
    all[0].reaction = [this] { disconnect(0); };
    EXPECT_EQ(emit(), "ac");
    EXPECT_EQ(emit(), "c");
}

TEST_F(signal_test, calls_nobody_once_a_listener_of_a_nested_emission_destroyed_it) {
    connect(0);
    connect(1);
    all[0].reaction = [this] { heard == "a" ? signal->emit(0) : signal.reset(); };
    EXPECT_EQ(emit(), "aa");
}

TEST(loop_lag, counts_a_stall_for_every_moment_that_it_covers) {
    ev::default_loop loop;
    loop_lag measured;
    for (int i = 0; i < 4950; ++i) {
        measured.note_lateness(0);
    }
    measured.note_lateness(0.515); // 52 moments: more than one in a hundred
    const lag_figures stalled = measured.take();
    EXPECT_EQ(stalled.moments, 5002);
    EXPECT_EQ(stalled.longest_s, 0.515);
    EXPECT_NEAR(stalled.p99_s, 0.015, 1e-9);
    measured.note_lateness(0.002);
    EXPECT_EQ(measured.take().longest_s, 0.002);
}

/** Reads a packet whenever it is called. */
struct leg {
    void take() {
        (void)phone.receive();
        calls += 1;
        reaction();
    }

    harness::rtp_peer phone{};
    packet_watcher watcher{};
    int calls = 0;
    std::function<void()> reaction = [] {};
};

class packet_poll_test : public loop_test {
  protected:
    packet_poll_test() {
        for (auto& each : legs) {
            each = std::make_unique<leg>();
            each->watcher.set<leg, &leg::take>(each.get());
            each->watcher.start(each->phone.fd());
        }
    }
    void send(int packets) {
        for (const auto& to : legs) {
            for (int i = 0; i < packets; ++i) {
                legs[0]->phone.send_to(to->phone.ip(), to->phone.port(), bytes{1});
            }
        }
    }

    std::array<std::unique_ptr<leg>, 2> legs;
};

TEST_F(packet_poll_test, reads_each_socket_once_or_many_packets_in_bounded_turns) {
    const auto read_by = [this](int flags) {
        ev_run(loop.raw_loop, flags);
        return legs[0]->calls + legs[1]->calls;
    };
    send(200);
    for (int turn = 1; turn <= 150; ++turn) {
        EXPECT_EQ(read_by(EVRUN_NOWAIT), 2 * turn);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
    EXPECT_EQ(read_by(EVRUN_NOWAIT), 302); // and these are many in that time
    EXPECT_EQ(read_by(EVRUN_ONCE), 366);
    EXPECT_EQ(read_by(EVRUN_ONCE), 400);
}

TEST_F(packet_poll_test, calls_nobody_who_was_deleted_before_its_turn) {
    int calls = 0;
    for (const std::size_t i : {0, 1}) {
        legs[i]->reaction = [this, &calls, i] {
            calls += 1;
            legs[1 - i].reset();
        };
    }
    send(1);
    ev_run(loop.raw_loop, EVRUN_NOWAIT);
    EXPECT_EQ(calls, 1);
}

TEST(packet_rate, becomes_high_at_two_packets_a_millisecond_and_low_below_one) {
    packet_rate rate;
    std::string high;
    double now_s = 100;
    for (const int packets : {0, 49, 51, 26, 24, 49}) { // in 25 ms each
        high += rate.note(packets, now_s += 0.025) ? 'h' : 'l';
    }
    EXPECT_EQ(high, "llhhll");
    EXPECT_FALSE(rate.note(1000, now_s + 0.01)) << "a burst is not yet a load";
}

} // namespace
} // namespace vocalink::util
