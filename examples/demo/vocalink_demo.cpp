// SPDX-License-Identifier: GPL-3.0-or-later
// Plays scenes with the real daemon and checks who heard whom, what was reported and recorded.
#include "harness/daemon_process.hpp"
#include "scenes.hpp"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

namespace vocalink::demo {

namespace {

using scene = std::vector<std::string> (*)(dialogue&, const places&);

/** @return whether all went well */
bool run(const places& where, harness::daemon_process& daemon) {
    std::cout << "A daemon serves the control socket " << daemon.socket_path()
              << "\nand is to leave recordings in " << where.recordings() << ".\n";
    std::vector<std::string> faults;
    {
        dialogue control(daemon.socket_path());
        for (const scene play : {two_party_call, conference, sent_digit, played_tones}) {
            for (const std::string& fault : play(control, where)) {
                faults.push_back(fault);
            }
        }
    }
    if (const int status = daemon.stop(); status != 0) {
        faults.push_back("the daemon ended with status " + std::to_string(status));
    }
    if (std::error_code not_empty; !std::filesystem::remove(where.unfinished(), not_empty)) {
        faults.push_back("the daemon left files in " + where.unfinished());
    }
    std::cout << '\n' << std::flush;
    for (const std::string& fault : faults) {
        std::cerr << "demo: FAULT: " << fault << '\n';
    }
    return faults.empty();
}

} // namespace

} // namespace vocalink::demo

int main(int argument_count, char** arguments) {
    using namespace vocalink;
    if (argument_count != 3) {
        std::cerr << "usage: vocalink-demo AUDIO_DIRECTORY OUTPUT_DIRECTORY\n";
        return 2;
    }
    try {
        const demo::places where{arguments[1], arguments[2]};
        std::filesystem::create_directories(where.unfinished());
        std::filesystem::create_directories(where.recordings());
        harness::daemon_process daemon({"-a", where.unfinished(), "-l", where.recordings()});
        bool good = false;
        try {
            good = demo::run(where, daemon);
        } catch (const std::exception& failure) {
            std::cerr << "demo: " << failure.what() << "\nThe daemon's log ends:\n"
                      << daemon.log_tail();
        }
        std::ofstream(where.output + "/daemon.log") << daemon.log();
        return good ? 0 : 1;
    } catch (const std::exception& failure) {
        std::cerr << "demo: " << failure.what() << '\n';
        return 1;
    }
}
