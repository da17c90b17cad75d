// SPDX-License-Identifier: GPL-3.0-or-later
// The loop's time for commands is shared, and bounded in each iteration.
#include "control/command_turns.hpp"

#include <gtest/gtest.h>

#include <string>

namespace vocalink {
namespace {

using namespace std::chrono_literals;

/** Does pieces of work that take the given time, and writes its name down for each. */
class worker : public turn_taker {
  public:
    worker(char own_name, int pieces, std::string& written)
        : name(own_name), left(pieces), journal(written) {}

    bool take_turn() override {
        journal += name;
        const auto end = std::chrono::steady_clock::now() + 1ms;
        while (std::chrono::steady_clock::now() < end) {
        }
        return --left > 0;
    }

  private:
    char name;
    int left;
    std::string& journal;
};

TEST(command_turns, gives_everybody_one_piece_in_turn_within_one_budget) {
    std::string journal;
    worker a('a', 3, journal), b('b', 1, journal), c('c', 2, journal), gone('x', 1, journal);
    command_turns turns(2ms);
    for (worker* each : {&a, &b, &gone, &c}) {
        turns.add(*each);
    }
    turns.remove(gone);
    EXPECT_EQ(journal, "") << "a turn never comes within add()";
    turns.run();
    EXPECT_LE(journal.size(), 2U);
    turns.run();
    EXPECT_LE(journal.size(), 2U) << "the budget is that of the whole iteration";
    ev_run(ev_default_loop(0), EVRUN_NOWAIT);
    EXPECT_LE(journal.size(), 4U);
    ev_run(ev_default_loop(0), 0); // ends when nobody is queued
    EXPECT_EQ(journal, "abcaca");
}

} // namespace
} // namespace vocalink
