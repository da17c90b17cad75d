// SPDX-License-Identifier: GPL-3.0-or-later
// The sums of one mixing cycle, for conferences of several sizes and by both ways of adding.
#include "audio/mixer.hpp"

#include <benchmark/benchmark.h>

#include <array>
#include <random>
#include <vector>

namespace {

struct member {
    std::array<short, vocalink::max_frame_samples> incoming{};
    std::array<short, vocalink::max_frame_samples> outgoing{};
};

std::vector<member> speaking_members(std::size_t count) {
    std::mt19937 random(1);
    std::uniform_int_distribution<int> sample(-2000, 2000);
    std::vector<member> members(count);
    for (member& each : members) {
        for (short& value : each.incoming) {
            value = static_cast<short>(sample(random));
        }
    }
    return members;
}

/** The cost of a cycle per member: in the column of items, members a second. */
void count_members(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/** One sum of all, and from it each member's own frame taken off. */
void mix_shared_sum(benchmark::State& state) {
    std::vector<member> members = speaking_members(static_cast<std::size_t>(state.range(0)));
    for (auto round : state) {
        (void)round;
        vocalink::frame_sum sum{};
        for (const member& from : members) {
            vocalink::add_frame(sum, from.incoming.data(), vocalink::usual_frame_samples);
        }
        for (member& to : members) {
            to.outgoing.fill(0);
            vocalink::mix_sum_without(to.outgoing.data(), sum, to.incoming.data(),
                                      vocalink::usual_frame_samples);
        }
        benchmark::ClobberMemory();
    }
    count_members(state);
}
BENCHMARK(mix_shared_sum)->Arg(3)->Arg(10)->Arg(100)->Arg(1000);

/** For each member the sum of all others anew, as routing rules may require. */
void mix_direct_sum(benchmark::State& state) {
    std::vector<member> members = speaking_members(static_cast<std::size_t>(state.range(0)));
    std::vector<const short*> others(members.size());
    for (auto round : state) {
        (void)round;
        for (member& to : members) {
            int count = 0;
            for (const member& from : members) {
                if (&from != &to) {
                    others[static_cast<std::size_t>(count++)] = from.incoming.data();
                }
            }
            to.outgoing.fill(0);
            vocalink::mix_slinear_frames(to.outgoing.data(), others.data(), count,
                                         vocalink::usual_frame_samples);
        }
        benchmark::ClobberMemory();
    }
    count_members(state);
}
BENCHMARK(mix_direct_sum)->Arg(3)->Arg(10)->Arg(100)->Arg(1000);

} // namespace
