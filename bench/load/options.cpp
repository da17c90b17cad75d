// SPDX-License-Identifier: GPL-3.0-or-later
// The command line of the load program.
#include "load/options.hpp"

#include <cstdlib>
#include <iostream>
#include <sstream>

#include <getopt.h>

namespace vocalink::bench {

namespace {

constexpr const char* usage =
    "usage: vocalink_load [options]\n"
    "  --quick          a few seconds of everything, for a smoke run\n"
    "  --parts LIST     of relay,conference,sound,recording,allocations,memory\n"
    "  --pairs LIST     numbers of two-party calls\n"
    "  --members LIST   numbers of members of a conference\n"
    "  --players N      sound streams, each playing into a leg of its own\n"
    "  --recorded LIST  numbers of two-party calls with both streams recorded\n"
    "  --rounds N       rounds of the bare loop and the daemon by turns\n"
    "  --seconds S      length of a round\n"
    "  --idle N         idle streams whose memory is measured\n"
    "  --cycled N       streams created and deleted\n"
    "  --arithmetic F   put the results of vocalink_bench --benchmark_format=csv in the table\n";

enum option_code {
    quick = 1,
    parts,
    pairs,
    members,
    players,
    recorded,
    rounds,
    seconds,
    idle,
    cycled,
    arithmetic,
    help
};

std::vector<std::string> words_of(const std::string& list) {
    std::vector<std::string> words;
    std::istringstream text(list);
    for (std::string word; std::getline(text, word, ',');) {
        words.push_back(word);
    }
    return words;
}

std::size_t count_of(const std::string& word) {
    return std::max<std::size_t>(std::strtoull(word.c_str(), nullptr, 10), 1);
}

std::vector<std::size_t> counts_of(const std::string& list) {
    std::vector<std::size_t> counts;
    for (const std::string& word : words_of(list)) {
        counts.push_back(count_of(word));
    }
    return counts;
}

void make_quick(load_options& options) {
    options.pairs = {20};
    options.members = {3, 10};
    options.players = 50;
    options.recorded = {20};
    options.rounds = 1;
    options.seconds = 0.5;
    options.repeat_disturbed = false;
    options.idle_streams = 500;
    options.cycled_streams = 2'000;
}

bool set_parts(load_options& options, const std::string& list) {
    const std::set<std::string> known = load_options().parts;
    options.parts.clear();
    for (const std::string& word : words_of(list)) {
        if (known.count(word) == 0) {
            std::cerr << "unknown part " << word << '\n';
            return false;
        }
        options.parts.insert(word);
    }
    return true;
}

bool apply_size(load_options& options, int code, const std::string& value) {
    switch (code) {
    case pairs:
        options.pairs = counts_of(value);
        return true;
    case members:
        options.members = counts_of(value);
        return true;
    case players:
        options.players = count_of(value);
        return true;
    case recorded:
        options.recorded = counts_of(value);
        return true;
    case idle:
        options.idle_streams = count_of(value);
        return true;
    case cycled:
        options.cycled_streams = count_of(value);
        return true;
    default:
        return false;
    }
}

bool apply(load_options& options, int code, const std::string& value) {
    switch (code) {
    case quick:
        make_quick(options);
        return true;
    case parts:
        return set_parts(options, value);
    case rounds:
        options.rounds = count_of(value);
        return true;
    case seconds:
        options.seconds = std::max(std::atof(value.c_str()), 0.1);
        return true;
    case arithmetic:
        options.arithmetic_csv = value;
        return true;
    default:
        return apply_size(options, code, value);
    }
}

} // namespace

std::optional<load_options> parse_options(int argc, char** argv, int& exit_status) {
    static const option names[] = {{"quick", no_argument, nullptr, quick},
                                   {"parts", required_argument, nullptr, parts},
                                   {"pairs", required_argument, nullptr, pairs},
                                   {"members", required_argument, nullptr, members},
                                   {"players", required_argument, nullptr, players},
                                   {"recorded", required_argument, nullptr, recorded},
                                   {"rounds", required_argument, nullptr, rounds},
                                   {"seconds", required_argument, nullptr, seconds},
                                   {"idle", required_argument, nullptr, idle},
                                   {"cycled", required_argument, nullptr, cycled},
                                   {"arithmetic", required_argument, nullptr, arithmetic},
                                   {"help", no_argument, nullptr, help},
                                   {nullptr, 0, nullptr, 0}};
    load_options options;
    for (int code = 0; (code = getopt_long(argc, argv, "", names, nullptr)) != -1;) {
        if (!apply(options, code, optarg != nullptr ? optarg : "")) {
            exit_status = code == help ? EXIT_SUCCESS : EXIT_FAILURE;
            (code == help ? std::cout : std::cerr) << usage;
            return std::nullopt;
        }
    }
    return options;
}

} // namespace vocalink::bench
