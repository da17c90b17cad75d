// SPDX-License-Identifier: GPL-3.0-or-later
// Running rounds by turns and repeating those that others disturbed.
#include "load/rounds.hpp"

#include "load/pacer.hpp"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

#include <unistd.h>

namespace vocalink::bench {

namespace {

constexpr double tolerated_others = 0.08; // processors
constexpr double tolerated_late = 0.05;   // share of the packets
constexpr std::size_t attempts_per_round = 2;

/** Seconds in which the processors of the machine did something, all together. */
double machine_busy_s() {
    std::ifstream stat("/proc/stat");
    std::string name;
    double user = 0;
    double nice = 0;
    double system = 0;
    double idle = 0;
    double iowait = 0;
    double irq = 0;
    double softirq = 0;
    stat >> name >> user >> nice >> system >> idle >> iowait >> irq >> softirq;
    return (user + nice + system + irq + softirq) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

/** What spoilt one round: others' processor time, and the generator's lateness. */
struct disturbance {
    double others = 0;
    double late_share = 0;

    [[nodiscard]] bool tolerable() const {
        return others <= tolerated_others && late_share <= tolerated_late;
    }
    void add(const disturbance& more) {
        others = std::max(others, more.others);
        late_share = std::max(late_share, more.late_share);
    }
};

disturbance measure_watched(const measured_process& target, const round_half& measure) {
    const disturbance_meter meter(target.pid);
    const double late_share = measure(target);
    return {meter.others(), late_share};
}

disturbance measure_half(const measured_process& target, const measured_process& other,
                         const round_half& measure) {
    const paused_process paused(other.pid);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return measure_watched(target, measure);
}

/** @param measure_round  given the number of rounds kept so far */
void repeat_rounds(bench_run& run, const std::string& what,
                   const std::function<disturbance(std::size_t)>& measure_round,
                   const std::function<void()>& keep) {
    std::size_t kept = 0;
    std::size_t attempts_left =
        run.options.repeat_disturbed ? attempts_per_round * run.options.rounds : run.options.rounds;
    std::size_t disturbed = 0;
    disturbance worst;
    for (; kept < run.options.rounds; --attempts_left) {
        progress(what + ", round " + std::to_string(kept + 1));
        const disturbance now = measure_round(kept);
        const bool no_choice = attempts_left <= run.options.rounds - kept;
        if (!now.tolerable() && !no_choice) {
            progress("  disturbed by others, repeated");
            continue;
        }
        disturbed += now.tolerable() ? 0 : 1;
        worst.add(now);
        keep();
        ++kept;
    }
    if (disturbed != 0) {
        run.figures.note(what + ": " + std::to_string(disturbed) + " of " + std::to_string(kept) +
                         " rounds were disturbed; other processes used up to " +
                         fixed(worst.others, 2) + " processors, up to " +
                         fixed(100 * worst.late_share, 0) + " % of the packets left 1 ms late");
    }
}

} // namespace

disturbance_meter::disturbance_meter(pid_t measured)
    : pid(measured), start_ns(now_ns()), busy_at_start_s(machine_busy_s()),
      own_at_start_s(cpu_seconds(pid) + cpu_seconds(getpid())) {}

double disturbance_meter::others() const {
    const double busy = machine_busy_s() - busy_at_start_s;
    const double own = cpu_seconds(pid) + cpu_seconds(getpid()) - own_at_start_s;
    return std::max(busy - own, 0.0) / (1e-9 * static_cast<double>(now_ns() - start_ns));
}

void run_rounds(bench_run& run, const std::string& what, const rivals& servers,
                const round_half& measure, const std::function<void()>& keep) {
    const auto both = [&](std::size_t kept) {
        // Each goes first in every other round, so that neither always follows the other.
        const bool bare_first = kept % 2 == 0;
        const measured_process& first = bare_first ? servers.bare : servers.daemon;
        const measured_process& second = bare_first ? servers.daemon : servers.bare;
        disturbance now = measure_half(first, second, measure);
        now.add(measure_half(second, first, measure));
        return now;
    };
    repeat_rounds(run, what, both, keep);
}

void run_rounds(bench_run& run, const std::string& what, const measured_process& alone,
                const round_half& measure, const std::function<void()>& keep) {
    repeat_rounds(
        run, what, [&](std::size_t) { return measure_watched(alone, measure); }, keep);
}

} // namespace vocalink::bench
