// SPDX-License-Identifier: GPL-3.0-or-later
// Prints what different lines do to a conference member's speech: delay and concealment.
#include "line/line_trial.hpp"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using vocalink::line::delay_meter;
using vocalink::line::line_settings;

struct line_kind {
    const char* name;
    line_settings settings;
};

const std::array lines = {
    line_kind{"clean, 20 ms packets", {}},
    line_kind{"clean, 10 ms packets", {.packet_ms = 10}},
    line_kind{"clean, 60 ms packets", {.packet_ms = 60}},
    line_kind{"jitter 0 to 40 ms", {.jitter_ms = 40}},
    line_kind{"loss 1 %", {.loss = 0.01}},
    line_kind{"loss 5 %", {.loss = 0.05}},
    line_kind{"5 % overtaken, 1 % doubled", {.reorder = 0.05, .doubled = 0.01}},
    line_kind{"sender's clock 0.5 % fast", {.drift = 0.005}},
    line_kind{"sender's clock 0.5 % slow", {.drift = -0.005}},
    line_kind{"0.5 % fast, jitter 0 to 40 ms", {.jitter_ms = 40, .drift = 0.005}},
    line_kind{"0.5 % slow, jitter 0 to 40 ms", {.jitter_ms = 40, .drift = -0.005}},
    line_kind{"Wi-Fi: stands for up to 120 ms every 5 s, jitter 5 ms",
              {.jitter_ms = 5, .stall_every_s = 5, .stall_longest_ms = 120}},
};

/** Runs one line for that long and prints its row. */
void print_row(const line_kind& kind, double seconds) {
    constexpr double settled_s = 2;
    constexpr double judged_s = 10;
    delay_meter meter(kind.settings);
    meter.trial.run_until(seconds);
    const vocalink::line_quality counters = meter.trial.buffer.counters();
    std::printf("| %s | %.0f, %.0f | %.0f | %.0f | %.2f | %llu |\n", kind.name,
                meter.median(settled_s, seconds), meter.worst(settled_s, seconds),
                meter.median(settled_s, settled_s + judged_s),
                meter.median(seconds - judged_s, seconds),
                static_cast<double>(counters.concealed_ms) / (10 * seconds),
                static_cast<unsigned long long>(counters.lost));
}

} // namespace

int main(int argc, char** argv) {
    double minutes = 60;
    if (argc == 3 && std::strcmp(argv[1], "--minutes") == 0) {
        minutes = std::atof(argv[2]);
    } else if (argc != 1) {
        std::fputs("usage: vocalink_line [--minutes N]\n"
                   "Simulates N minutes (60) of a speaker on different lines.\n",
                   stderr);
        return 2;
    }
    std::puts("| line | delay ms: median, worst | first 10 s | last 10 s | concealed % | lost |\n"
              "|---|---|---|---|---|---|");
    for (const line_kind& kind : lines) {
        print_row(kind, minutes * 60);
    }
    return 0;
}
