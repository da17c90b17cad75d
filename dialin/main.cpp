// SPDX-License-Identifier: GPL-3.0-or-later
// Entry of vocalink-dialin: telephones call in by SIP and meet in the daemon's conferences.
#include "exchange.hpp"
#include "log_line.hpp"
#include "sip_log.hpp"

#include <csignal>
#include <exception>

#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

using namespace vocalink;

// SIGTERM and SIGINT become readable; the SIP library's loop waits for descriptors only.
util::unique_fd block_ending_signals() {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    return util::unique_fd(::signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK));
}

// Every TCP connection takes one.
void raise_descriptor_limit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        static_cast<void>(::setrlimit(RLIMIT_NOFILE, &limit)); // the old one does for most
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        const auto configured = dialin::read_options(argc, argv);
        if (!configured) {
            return 0;
        }
        const util::unique_fd signals = block_ending_signals();
        raise_descriptor_limit();
        dialin::event_loop loop;
        dialin::take_over_sip_log();
        dialin::exchange desk(loop, *configured);
        dialin::watch ending(loop, signals.get(), SU_WAIT_IN, [&](int) {
            signalfd_siginfo which;
            if (::read(signals.get(), &which, sizeof which) == sizeof which) {
                desk.shut_down();
            }
        });
        loop.run();
        if (!desk.is_down()) {
            ::_exit(0); // somebody has not answered a BYE, and that is not waited for
        }
        return 0;
    } catch (const std::exception& problem) {
        dialin::log_line("dialin") << problem.what();
        return 1;
    }
}
