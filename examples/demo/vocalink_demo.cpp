// SPDX-License-Identifier: GPL-3.0-or-later
// Plays scenes with the real daemon and checks who heard whom, what was reported and recorded.
#include "harness/daemon_process.hpp"
#include "stage.hpp"

#include <cstdio>
#include <filesystem>
#include <fstream>

int main(int argument_count, char** arguments) {
    using namespace vocalink::demo;
    if (argument_count != 3) {
        std::fputs("usage: vocalink-demo AUDIO_DIRECTORY OUTPUT_DIRECTORY\n", stderr);
        return 2;
    }
    const places where{arguments[1], arguments[2]};
    std::filesystem::create_directories(where.unfinished());
    std::filesystem::create_directories(where.recordings());
    vocalink::harness::daemon_process daemon({"-a", where.unfinished(), "-l", where.recordings()});
    std::printf("A daemon serves the control socket %s\nand is to leave recordings in %s.\n",
                daemon.socket_path().c_str(), where.recordings().c_str());
    try {
        dialogue control(daemon.socket_path());
        for (const auto play : {two_party_call, conference, sent_digit, played_tones}) {
            play(control, where);
        }
    } catch (const std::exception& failure) {
        check(false, failure.what());
    }
    check(daemon.stop() == 0, "the daemon ended badly");
    std::error_code not_empty;
    check(std::filesystem::remove(where.unfinished(), not_empty), "a recording is unfinished");
    std::ofstream(where.output + "/daemon.log") << daemon.log();
    return faults == 0 ? 0 : 1;
}
