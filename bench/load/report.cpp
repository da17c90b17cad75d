// SPDX-License-Identifier: GPL-3.0-or-later
// Collecting and printing the figures of a run.
#include "load/report.hpp"

#include "load/statistics.hpp"

#include <algorithm>
#include <array>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace vocalink::bench {

void report::section(const std::string& title) {
    rows.push_back({.what = title});
}

void report::add(report_row row) {
    row.what = "  " + row.what;
    rows.push_back(std::move(row));
}

void report::add_pair(const std::string& what, double bare, double daemon, int digits) {
    add({.what = what, .bare = fixed(bare, digits), .daemon = fixed(daemon, digits)});
}

void report::add_single(const std::string& what, const std::string& daemon) {
    add({.what = what, .daemon = daemon});
}

void report::add_losses(const std::string& what, std::int64_t bare, std::int64_t daemon) {
    add({.what = what,
         .bare = std::to_string(bare),
         .daemon = std::to_string(daemon),
         .wanted = "0",
         .missed = daemon != 0});
}

void report::note(const std::string& text) {
    notes.push_back(text);
}

void report::failure(const std::string& text) {
    failures.push_back(text);
    progress("FAILED: " + text);
}

void report::print(std::ostream& os) const {
    std::array<std::size_t, 4> width{4, 4, 6, 5};
    for (const report_row& row : rows) {
        width[0] = std::max(width[0], row.what.size());
        width[1] = std::max(width[1], row.bare.size());
        width[2] = std::max(width[2], row.daemon.size());
        width[3] = std::max(width[3], row.ratio.size());
    }
    const auto line = [&](const report_row& row) {
        std::ostringstream text;
        text << std::left << std::setw(static_cast<int>(width[0])) << row.what << std::right;
        text << "  " << std::setw(static_cast<int>(width[1])) << row.bare;
        text << "  " << std::setw(static_cast<int>(width[2])) << row.daemon;
        text << "  " << std::setw(static_cast<int>(width[3])) << row.ratio;
        text << "  " << row.wanted << (row.missed ? "  MISSED" : "");
        std::string trimmed = text.str();
        trimmed.erase(trimmed.find_last_not_of(' ') + 1);
        os << trimmed << '\n';
    };
    line({.bare = "bare", .daemon = "daemon", .ratio = "ratio", .wanted = "wanted"});
    std::for_each(rows.begin(), rows.end(), line);
    for (const std::string& text : notes) {
        os << "note: " << text << '\n';
    }
    for (const std::string& text : failures) {
        os << "FAILED: " << text << '\n';
    }
}

std::string fixed(double value, int digits) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << value;
    return text.str();
}

cost_ratio::cost_ratio(const std::vector<double>& bare, const std::vector<double>& daemon) {
    for (std::size_t i = 0; i < std::min(bare.size(), daemon.size()); ++i) {
        by_round.push_back(daemon[i] / bare[i]);
    }
}

double cost_ratio::middle() const {
    return median(by_round);
}

std::string cost_ratio::text() const {
    std::string text = fixed(middle(), 2);
    if (by_round.size() > 1) {
        const auto [low, high] = std::minmax_element(by_round.begin(), by_round.end());
        text += " (" + fixed(*low, 2) + " to " + fixed(*high, 2) + ")";
    }
    return text;
}

void progress(const std::string& text) {
    std::cerr << text << std::endl;
}

} // namespace vocalink::bench
