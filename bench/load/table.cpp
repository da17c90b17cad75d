// SPDX-License-Identifier: GPL-3.0-or-later
// Rows and columns from counters, and the judgement of them.
#include "load/benchmarks.hpp"

#include <cmath>
#include <iomanip>
#include <iostream>
#include <set>
#include <sstream>
#include <vector>

namespace vocalink::bench {

namespace {

bool failed = false;

class table : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context& context) override {
        PrintBasicContext(&GetErrorStream(), context);
        return true;
    }

    void ReportRuns(const std::vector<Run>& runs) override {
        const Run& first = runs.front();
        print({first.run_name.function_name + " " + first.run_name.args, "bare", "daemon",
               "ratio (min to max)", "wanted"});
        std::set<std::string> rows;
        for (const auto& counter : first.counters) {
            rows.insert(counter.first.substr(0, counter.first.rfind(": ")));
        }
        for (const std::string& what : rows) {
            const std::string daemon = text(runs, what + ": daemon");
            std::string ratio = text(runs, what + ": ratio");
            std::string wanted = text(runs, what + ": wanted");
            if (!wanted.empty()) {
                const bool missed = std::stod(ratio.empty() ? daemon : ratio) > std::stod(wanted);
                wanted = "<= " + wanted + (missed ? "  MISSED" : "");
            }
            if (!ratio.empty() && runs.size() > 1) {
                ratio += " (" + text(runs, what + ": ratio", "min") + " to " +
                         text(runs, what + ": ratio", "max") + ")";
            }
            print({"  " + what, text(runs, what + ": bare"), daemon, ratio, wanted});
        }
    }

  private:
    /** A counter's value in the run of this statistic, or in the only run; empty without it. */
    static std::string text(const std::vector<Run>& runs, const std::string& counter,
                            const std::string& statistic = "median") {
        std::ostringstream text;
        for (const Run& run : runs) {
            const auto found = run.counters.find(counter);
            if (found != run.counters.end() &&
                (run.aggregate_name.empty() || run.aggregate_name == statistic)) {
                const double value = found->second;
                const int digits = value == std::floor(value) ? 0 : value < 0.1 ? 4 : 2;
                text << std::fixed << std::setprecision(digits) << value;
            }
        }
        return text.str();
    }

    static void print(const std::array<std::string, 5>& cells) {
        std::cout << std::left << std::setw(50) << cells[0] << std::right << std::setw(10)
                  << cells[1] << std::setw(12) << cells[2] << std::setw(24) << cells[3] << "  "
                  << cells[4] << std::endl;
    }
};

} // namespace

void fail(const std::string& what) {
    failed = true;
    std::cout << "FAILED: " << what << std::endl;
}

void add_row(benchmark::State& state, const std::string& what, double daemon) {
    state.counters[what + ": daemon"] = daemon;
}

void add_row(benchmark::State& state, const std::string& what, double bare, double daemon,
             double wanted) {
    state.counters[what + ": bare"] = bare;
    add_row(state, what, daemon);
    if (wanted != 0) {
        state.counters[what + ": ratio"] = daemon / bare;
        state.counters[what + ": wanted"] = wanted;
    }
}

void expect_none(benchmark::State& state, const std::string& what, std::uint64_t count) {
    add_row(state, what, static_cast<double>(count));
    state.counters[what + ": wanted"] = 0;
    if (count != 0) {
        fail(std::to_string(count) + " " + what);
    }
}

void add_losses(benchmark::State& state, const round_result& bare, const round_result& daemon) {
    add_row(state, "packets lost", static_cast<double>(bare.lost),
            static_cast<double>(daemon.lost));
    add_row(state, "processors used by others", bare.others, daemon.others);
    state.counters["processors used by others: wanted"] = 0.08;
    expect_none(state, "packets lost by the daemon alone", bare.lost == 0 ? daemon.lost : 0);
    expect_none(state, "packets that came back wrong", bare.wrong + daemon.wrong);
}

bool run_and_print() {
    table figures;
    return benchmark::RunSpecifiedBenchmarks(&figures) != 0 && !failed;
}

} // namespace vocalink::bench
