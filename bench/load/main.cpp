// SPDX-License-Identifier: GPL-3.0-or-later
// Load program for the whole daemon: what calls and conferences cost, beside the least they could.
#include "load/benchmarks.hpp"
#include "util/descriptor_limit.hpp"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace vocalink::bench {

namespace {

using sizes = std::vector<std::int64_t>;

benchmark::internal::Benchmark* add(const char* name, void (*measure)(benchmark::State&),
                                    const std::vector<std::string>& names,
                                    const std::vector<sizes>& each) {
    auto* added = benchmark::RegisterBenchmark(name, [measure](benchmark::State& state) {
        for ([[maybe_unused]] auto once : state) {
            measure(state);
        }
    });
    added->Iterations(1)->ArgNames(names);
    std::ranges::for_each(each, [added](const sizes& arguments) { added->Args(arguments); });
    return added;
}

void add_all(bool quick) {
    round_s = quick ? 0.5 : round_s;
    using all = std::vector<sizes>;
    add("relay", measure_relay, {"pairs"},
        quick ? all{{20}} : all{{25}, {100}, {250}, {500}, {1000}});
    add("mix", measure_mix, {"members", "room"},
        quick ? all{{3, 3}, {10, 10}} : all{{3, 3}, {10, 10}, {100, 100}, {1000, 1000}, {500, 10}});
    add("conference", measure_conference, {"members", "room"},
        quick ? all{{3, 3}, {10, 10}, {6, 3}}
              : all{{3, 3}, {10, 10}, {100, 100}, {1000, 1000}, {150, 3}});
    add("sound", measure_sound, {"files"}, {{quick ? 50 : 1000}});
    add("recording", measure_recording, {"pairs"}, quick ? all{{20}} : all{{100}, {500}});
    add("commands", measure_commands, {"controllers"}, {{quick ? 5 : 20}});
    add("reply", measure_reply, {"pairs"}, {{quick ? 20 : 100}});
    add("allocations", measure_allocations, {"members"}, {{12}})->Repetitions(1);
    add("idle_memory", measure_idle_memory, {"streams"}, {{quick ? 500 : 10'000}})->Repetitions(1);
    add("many_lives", measure_many_lives, {"streams"}, {{quick ? 2'000 : 100'000}})->Repetitions(1);
}

/** More sizes of what is drawn, and loads that a core cannot carry. */
void add_plotted() {
    for (const std::int64_t pairs :
         {10, 25, 50, 100, 250, 500, 1000, 1250, 1500, 1750, 2000, 2500, 3000, 4000}) {
        add("relay", measure_relay, {"pairs"}, {{pairs}});
    }
    for (const std::int64_t members : {3, 10, 30, 100, 300, 1000}) {
        add("conference", measure_conference, {"members", "room"}, {{members, members}});
    }
}

/** Takes an option of this program away from those of the library. */
bool take_option(std::vector<char*>& arguments, std::string_view option) {
    return std::erase_if(arguments, [=](std::string_view word) { return word == option; }) != 0;
}

} // namespace

} // namespace vocalink::bench

int main(int argc, char** argv) {
    using namespace vocalink::bench;
    std::vector<char*> arguments(argv, argv + argc);
    const bool quick = take_option(arguments, "--quick");
    const bool plotted = take_option(arguments, "--plot");
    char repetitions[] = "--benchmark_repetitions=9", one[] = "--benchmark_repetitions=1";
    arguments.insert(arguments.begin() + 1, quick ? one : repetitions);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return EXIT_FAILURE;
    }
    plotted ? add_plotted() : add_all(quick);
    vocalink::util::raise_descriptor_limit();
    pin(getpid(), role::generator);
    try {
        return run_all() ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::cerr << "vocalink_load: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
