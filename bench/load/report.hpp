// SPDX-License-Identifier: GPL-3.0-or-later
// The table that a run prints at its end, and the progress lines before it.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace vocalink::bench {

/** One measured figure. Empty texts leave their column empty. */
struct report_row {
    std::string what = {};   // with its unit
    std::string bare = {};   // the yardstick's figure
    std::string daemon = {}; // the daemon's figure
    std::string ratio = {};  // daemon to bare
    std::string wanted = {}; // the target, if there is one
    bool missed = false;
};

/** Rows in sections, printed as one table. Failures are apart from missed targets: a figure depends
 *  on the machine, a lost packet or a leak does not. */
class report {
  public:
    void section(const std::string& title);
    void add(report_row row);
    /** The yardstick's figure beside the daemon's, without a target. */
    void add_pair(const std::string& what, double bare, double daemon, int digits);
    /** The daemon's figure alone, without a target. */
    void add_single(const std::string& what, const std::string& daemon);
    /** Numbers of things that should not be. */
    void add_losses(const std::string& what, std::int64_t bare, std::int64_t daemon);
    void note(const std::string& text);
    /** Something that must not happen did; the run ends with a status other than zero. */
    void failure(const std::string& text);

    [[nodiscard]] bool failed() const { return !failures.empty(); }
    void print(std::ostream& os) const;

  private:
    std::vector<report_row> rows; // a section's title is a row with nothing but what
    std::vector<std::string> notes;
    std::vector<std::string> failures;
};

/** A number with this many digits after the point. */
[[nodiscard]] std::string fixed(double value, int digits);

/** The daemon's cost over the bare loop's. Each round gives a ratio of its own, so that what the
 *  machine does to both halves of a round cancels out. */
class cost_ratio {
  public:
    /** @param bare, daemon  cost by round, the same rounds in both */
    cost_ratio(const std::vector<double>& bare, const std::vector<double>& daemon);

    [[nodiscard]] double middle() const;
    /** "1.07 (1.03 to 1.11)": the median and the spread over the rounds. */
    [[nodiscard]] std::string text() const;

  private:
    std::vector<double> by_round;
};

/** Tells whoever waits what is being measured; on standard error. */
void progress(const std::string& text);

} // namespace vocalink::bench
