// SPDX-License-Identifier: GPL-3.0-or-later
// The results of vocalink_bench as rows of the same table.
#include "load/parts.hpp"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace vocalink::bench {

void report_arithmetic(bench_run& run) {
    if (run.options.arithmetic_csv.empty()) {
        return;
    }
    std::ifstream csv(run.options.arithmetic_csv);
    std::string line;
    // What stands before the header describes the machine.
    while (std::getline(csv, line) && line.rfind("name,", 0) != 0) {
    }
    run.figures.section("arithmetic");
    std::size_t rows = 0;
    while (std::getline(csv, line)) {
        std::istringstream cells(line);
        std::string name;
        std::string iterations;
        std::string real_time;
        std::string cpu_time;
        std::string unit;
        std::getline(cells, name, ',');
        std::getline(cells, iterations, ',');
        std::getline(cells, real_time, ',');
        std::getline(cells, cpu_time, ',');
        std::getline(cells, unit, ',');
        std::erase(name, '"');
        name.append(", ").append(unit);
        run.figures.add_single(name, fixed(std::atof(cpu_time.c_str()), 1));
        ++rows;
    }
    if (rows == 0) {
        run.figures.failure("no results in " + run.options.arithmetic_csv);
    }
}

} // namespace vocalink::bench
