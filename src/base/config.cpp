// SPDX-License-Identifier: GPL-3.0-or-later
// The parsed command line, readable from every layer.
#include "base/config.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace vocalink {

namespace {

/** The next option, as getopt returns it. --help and --version are handled here, because getopt
 *  reads the letters of a long option as short options. */
int next_option(int argc, char** argv) {
    if (optind < argc && std::strcmp(argv[optind], "--help") == 0) {
        ++optind;
        return 'h';
    }
    if (optind < argc && std::strcmp(argv[optind], "--version") == 0) {
        ++optind;
        return 'V';
    }
    return getopt(argc, argv, "t:r:s:i:l:a:S:p:m:c:hV");
}

} // namespace

config::config(int argc, char** argv) {
    optind = 1;
    for (int option = 0; (option = next_option(argc, argv)) != -1;) {
        take_option(option, optarg);
    }
}

void config::take_option(int option, const char* value) {
    switch (option) {
    case 't':
        timeout_seconds = std::atoi(value);
        break;
    case 'r':
        client_socket_path = value;
        break;
    case 's':
        server_socket_path = value;
        break;
    case 'i':
        i_arg = value;
        break;
    case 'l':
        store_dir = value;
        break;
    case 'a':
        work_dir = value;
        break;
    case 'S':
        sound_dir = value;
        break;
    case 'p':
        port_range = value;
        break;
    case 'm':
        metrics_file = value;
        break;
    case 'c':
        command = value;
        break;
    case 'h':
        help_wanted = true;
        break;
    case 'V':
        version_wanted = true;
        break;
    default: // getopt has said so itself
        break;
    }
}

program_mode config::mode() const {
    if (help_wanted || version_wanted) {
        return help_wanted ? program_mode::help : program_mode::version;
    }
    if (server_socket_path != nullptr) {
        return program_mode::serve;
    }
    return command != nullptr ? program_mode::command : program_mode::relay;
}

double config::idle_check_period() const {
    // A timer takes no negative period; a negative time-out ends things at the first check anyway.
    return std::max(0, timeout_seconds / 6);
}

} // namespace vocalink
