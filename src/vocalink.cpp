// SPDX-License-Identifier: GPL-3.0-or-later
// The process entry: daemon with -s, client without.
#include "base/config.hpp"
#include "control/main.hpp"
#include "control/remote.hpp"
#include "util/descriptor_limit.hpp"
#include "util/log_line.hpp"
#include "util/log_writer.hpp"
#include "util/standard_descriptors.hpp"

#include <srtp2/srtp.h>

#include <csignal>

int main(int argc, char** argv) {
    vocalink::util::open_missing_standard_descriptors();
    std::signal(SIGPIPE, SIG_IGN);
    if (const auto status = srtp_init(); status != srtp_err_status_ok) {
        vocalink::util::log_line() << "srtp initialization failed: " << static_cast<int>(status);
    }
    const vocalink::config options(argc, argv);
    if (options.server_socket_path != nullptr) {
        vocalink::util::raise_descriptor_limit();
        const vocalink::util::log_writer writer;
        vocalink::main daemon(options.server_socket_path);
        return daemon.run();
    }
    vocalink::remote client(options.client_socket_path);
    return client.run();
}
