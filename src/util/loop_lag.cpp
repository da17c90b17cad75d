// SPDX-License-Identifier: GPL-3.0-or-later
// How late the event loop comes to what is due.
#include "util/loop_lag.hpp"

#include "util/monotonic_time.hpp"

#include <algorithm>
#include <cstddef>

namespace vocalink::util {

namespace {

constexpr double probe_period_s = 0.01;

// Of more moments the last ones count, whether nobody asks or the host has slept for hours.
constexpr std::size_t most_moments = 10'000;

/** The smallest value that is not below 99 of 100. @param values  at least one; reordered */
double percentile_99(std::vector<double>& values) {
    const auto at =
        values.begin() + static_cast<std::ptrdiff_t>((values.size() * 99 + 99) / 100 - 1);
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

} // namespace

loop_lag::loop_lag() : due_s(loop_now() + probe_period_s), turn_began_s(monotonic_seconds()) {
    probe.set<loop_lag, &loop_lag::handle_probe>(this);
    probe.start(probe_period_s);
    wake_up.set<loop_lag, &loop_lag::handle_wake_up>(this);
    wake_up.priority = EV_MAXPRI;
    wake_up.start();
    rest.set<loop_lag, &loop_lag::handle_rest>(this);
    rest.priority = EV_MINPRI;
    rest.start();
}

void loop_lag::stop() {
    probe.stop();
    wake_up.stop();
    rest.stop();
}

lag_figures loop_lag::take() {
    if (!lateness.empty()) {
        figures.p99_s = percentile_99(lateness);
        lateness.clear();
    }
    lag_figures taken = figures;
    figures.p99_s = figures.longest_s = figures.longest_turn_s = 0;
    return taken;
}

void loop_lag::note_lateness(double late_s) {
    figures.longest_s = std::max(figures.longest_s, late_s);
    for (std::size_t i = 0; i < most_moments; ++i) {
        note_moment(std::max(0.0, late_s));
        late_s -= probe_period_s;
        if (late_s <= 0) {
            break;
        }
    }
}

void loop_lag::note_moment(double late_s) {
    if (lateness.size() < most_moments) {
        lateness.push_back(late_s);
    } else {
        lateness[static_cast<std::size_t>(figures.moments) % most_moments] = late_s;
    }
    figures.lateness_s += late_s;
    figures.moments += 1;
}

void loop_lag::handle_probe(ev::timer&, int) {
    note_lateness(monotonic_seconds() - due_s);
    due_s = loop_now() + probe_period_s;
    probe.start(probe_period_s);
}

void loop_lag::handle_wake_up(ev::check&, int) {
    turn_began_s = loop_now();
}

void loop_lag::handle_rest(ev::prepare&, int) {
    const double turn_s = monotonic_seconds() - turn_began_s;
    figures.longest_turn_s = std::max(figures.longest_turn_s, turn_s);
    figures.busy_s += turn_s;
}

} // namespace vocalink::util
