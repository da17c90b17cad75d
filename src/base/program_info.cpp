// SPDX-License-Identifier: GPL-3.0-or-later
// What the program tells about itself.
#include "base/program_info.hpp"

namespace vocalink {

const char* const program_version = VOCALINK_VERSION;

const char* const usage_text =
    "usage: vocalink -s SOCKET [-t SECONDS] [-a DIRECTORY] [-l DIRECTORY] [-S DIRECTORY]\n"
    "                [-p FIRST-LAST] [-m FILE]\n"
    "       vocalink [-r SOCKET] [-c COMMAND]\n"
    "\n"
    "The daemon:\n"
    "  -s SOCKET     listen for controllers on this socket\n"
    "  -t SECONDS    time-out of idle streams and bridges (30)\n"
    "  -a DIRECTORY  where recordings are written (/tmp)\n"
    "  -l DIRECTORY  where recordings are moved when they end (.)\n"
    "  -S DIRECTORY  take sound files from below this directory only\n"
    "  -p FIRST-LAST local ports to use before any others\n"
    "  -m FILE       write metrics for Prometheus every 5 seconds\n"
    "\n"
    "The client, without -s:\n"
    "  -r SOCKET     socket of the daemon (/tmp/vocalink-sock)\n"
    "  -c COMMAND    send one command, print its reply, end with 0, or 1 after an error\n"
    "\n"
    "  -h, --help     print this and end\n"
    "  -V, --version  print the version and end\n"
    "\n"
    "See vocalink(1) and vocalink-protocol(7).\n";

} // namespace vocalink
