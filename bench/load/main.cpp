// SPDX-License-Identifier: GPL-3.0-or-later
// Load program for the whole daemon: what calls and conferences cost, beside the least they could.
#include "load/parts.hpp"

#include <cstdlib>
#include <exception>
#include <iostream>

#include <unistd.h>

namespace vocalink::bench {

namespace {

void measure(bench_run& run) {
    struct part {
        const char* name;
        void (*measure)(bench_run&);
    };
    for (const part& each :
         {part{"relay", measure_relay}, part{"conference", measure_conference},
          part{"sound", measure_sound}, part{"recording", measure_recording},
          part{"allocations", measure_allocations}, part{"memory", measure_memory}}) {
        if (run.options.parts.count(each.name) == 0) {
            continue;
        }
        try {
            each.measure(run);
        } catch (const std::exception& error) {
            run.figures.failure(std::string(each.name) + ": " + error.what());
        }
    }
    report_arithmetic(run);
}

void note_conditions(bench_run& run) {
    run.figures.note("medians of " + std::to_string(run.options.rounds) + " rounds of " +
                     fixed(run.options.seconds, 1) +
                     " s, bare loop and daemon by turns; PCMU, 172-byte packets, 127.0.0.1");
    run.figures.note("generator on core " + std::to_string(run.cores.generator) +
                     ", measured process on core " + std::to_string(run.cores.measured));
    run.figures.note("memory is the process's own; the kernel's socket memory is not in it");
}

} // namespace

} // namespace vocalink::bench

int main(int argc, char** argv) {
    using namespace vocalink::bench;
    int exit_status = EXIT_SUCCESS;
    const auto options = parse_options(argc, argv, exit_status);
    if (!options) {
        return exit_status;
    }
    try {
        raise_descriptor_limit();
        bench_run run{*options, plan_cores(), {}, {}};
        pin_to_core(getpid(), run.cores.generator);
        note_conditions(run);
        measure(run);
        run.figures.print(std::cout);
        return run.figures.failed() ? EXIT_FAILURE : EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "vocalink_load: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}
