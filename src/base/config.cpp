// SPDX-License-Identifier: GPL-3.0-or-later
// The parsed command line, readable from every layer.
#include "base/config.hpp"

#include <algorithm>
#include <cassert>
#include <cstdlib>

#include <unistd.h>

namespace vocalink {

const config* config::newest = nullptr;

config::config(int argc, char** argv) {
    newest = this;
    optind = 1;
    for (int option = 0; (option = getopt(argc, argv, "t:r:s:i:l:a:S:")) != -1;) {
        switch (option) {
        case 't':
            timeout_seconds = std::atoi(optarg);
            break;
        case 'r':
            client_socket_path = optarg;
            break;
        case 's':
            server_socket_path = optarg;
            break;
        case 'i':
            i_arg = optarg;
            break;
        case 'l':
            store_dir = optarg;
            break;
        case 'a':
            work_dir = optarg;
            break;
        case 'S':
            sound_dir = optarg;
            break;
        default: // getopt has said so itself
            break;
        }
    }
}

const config& config::instance() {
    assert(newest != nullptr);
    return *newest;
}

double config::idle_check_period() const {
    // A timer takes no negative period; a negative time-out ends things at the first check anyway.
    return std::max(0, timeout_seconds / 6);
}

} // namespace vocalink
