// SPDX-License-Identifier: GPL-3.0-or-later
// The process entry: daemon with -s, client without.
#include "base/config.hpp"
#include "base/program_info.hpp"
#include "control/main.hpp"
#include "control/remote.hpp"
#include "control/remote_command.hpp"
#include "control/remote_terminal.hpp"
#include "util/descriptor_limit.hpp"
#include "util/log_line.hpp"
#include "util/log_writer.hpp"
#include "util/standard_descriptors.hpp"

#include <srtp2/srtp.h>

#include <csignal>
#include <cstdio>

#include <unistd.h>

namespace {

int serve(const char* socket_path) {
    vocalink::util::raise_descriptor_limit();
    const vocalink::util::log_writer writer;
    vocalink::main daemon(socket_path);
    return daemon.run();
}

int run_client(const char* socket_path) {
    if (::isatty(STDIN_FILENO) == 1) {
        return vocalink::remote_terminal(socket_path).run();
    }
    return vocalink::remote(socket_path).run();
}

} // namespace

int main(int argc, char** argv) {
    using vocalink::program_mode;
    vocalink::util::open_missing_standard_descriptors();
    std::signal(SIGPIPE, SIG_IGN);
    if (const auto status = srtp_init(); status != srtp_err_status_ok) {
        vocalink::util::log_line() << "srtp initialization failed: " << static_cast<int>(status);
    }
    const vocalink::config options(argc, argv);
    switch (options.mode()) {
    case program_mode::help:
        std::fputs(vocalink::usage_text, stdout);
        return 0;
    case program_mode::version:
        std::printf("vocalink %s\n", vocalink::program_version);
        return 0;
    case program_mode::serve:
        return serve(options.server_socket_path);
    case program_mode::command:
        return vocalink::run_remote_command(options.client_socket_path, options.command);
    case program_mode::relay:
        break;
    }
    return run_client(options.client_socket_path);
}
