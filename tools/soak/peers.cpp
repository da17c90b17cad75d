// SPDX-License-Identifier: GPL-3.0-or-later
// The far ends of a soak run. Takes commands from standard input and answers each with a line:
//
//   port                  where the legs of steady calls shall send to
//   calls PORT...         begins to speak in them, pair by pair
//   count                 "sent N received N wrong N" since the calls began
//   settle                ends the calls, waits for what is under way, and counts
//   flood KIND PORT RATE  floods one leg with so many packets a second
//   calm                  ends the flood and says how many packets it sent
#include "soak/flood.hpp"
#include "soak/steady_calls.hpp"

#include <chrono>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <thread>

#include <poll.h>
#include <unistd.h>

namespace vocalink::soak {

namespace {

using std::chrono::milliseconds;

class peers {
  public:
    /** Serves until the end of the input. */
    void run() {
        for (std::string line; read_line(line);) {
            std::cout << answer(line) << std::endl;
        }
    }

  private:
    /** Keeps everything going until a line has come. @return false at the end of the input */
    bool read_line(std::string& line) {
        for (;;) {
            pollfd input{STDIN_FILENO, POLLIN, 0};
            if (std::cin.rdbuf()->in_avail() > 0 || ::poll(&input, 1, 1) > 0) {
                return static_cast<bool>(std::getline(std::cin, line));
            }
            const std::int64_t now =
                harness::ends_after(milliseconds(0)).time_since_epoch().count();
            calls.run(now);
            if (running_flood) {
                running_flood->run(now);
            }
        }
    }

    std::string answer(const std::string& line) {
        std::istringstream words(line);
        std::string command;
        words >> command;
        if (command == "port") {
            return std::to_string(calls.port());
        }
        if (command == "calls") {
            calls.add({std::istream_iterator<std::uint16_t>(words),
                       std::istream_iterator<std::uint16_t>()});
            calls.sent = calls.received = calls.wrong = 0;
        } else if (command == "settle") {
            settle();
        } else if (command == "flood") {
            std::string kind;
            std::uint16_t port = 0;
            double rate = 0;
            words >> kind >> port >> rate;
            running_flood.emplace(kind, port, rate);
        } else if (command == "calm") {
            const std::uint64_t sent = running_flood ? running_flood->sent : 0;
            running_flood.reset();
            return std::to_string(sent);
        }
        return "sent " + std::to_string(calls.sent) + " received " +
               std::to_string(calls.received) + " wrong " + std::to_string(calls.wrong);
    }

    /** Waits as long as packets come. */
    void settle() {
        for (std::uint64_t before = ~0ULL; before != calls.received;) {
            before = calls.received;
            for (int i = 0; i < 50 && calls.received < calls.sent; ++i) {
                std::this_thread::sleep_for(milliseconds(10));
                calls.receive();
            }
        }
        calls.forget();
    }

    steady_calls calls;
    std::optional<flood> running_flood;
};

} // namespace

} // namespace vocalink::soak

int main() {
    std::ios::sync_with_stdio(false);
    vocalink::soak::peers().run();
}
