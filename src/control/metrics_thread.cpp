// SPDX-License-Identifier: GPL-3.0-or-later
// The worker that writes the metrics file.
#include "control/metrics_thread.hpp"

#include "control/daemon_socket.hpp"
#include "control/metrics_text.hpp"
#include "util/log_line.hpp"
#include "util/unique_fd.hpp"

#include <cerrno>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vocalink {

using util::error_text;
using util::log_line;

namespace {

constexpr mode_t everybody_reads = 0644;

struct write_request : util::ProcessRequest {
    explicit write_request(metrics_snapshot taken) : ProcessRequest(0), figures(std::move(taken)) {}

    const metrics_snapshot figures;
};

} // namespace

MetricsThread::MetricsThread(std::string file_path, std::string socket_path)
    : MsgQueueThread("metricsThread"), path(std::move(file_path)),
      path_while_writing(path + ".tmp"), socket(std::move(socket_path)) {}

void MetricsThread::write(metrics_snapshot figures) {
    queue(new write_request(std::move(figures)));
}

void MetricsThread::remove_file() {
    if (written) {
        ::unlink(path.c_str());
    }
}

void MetricsThread::handle_request(util::ProcessRequest* request) {
    const auto& asked = static_cast<const write_request&>(*request);
    const int error = replace_file(metrics_text(asked.figures, socket));
    if (error != 0 && !failing) {
        log_line("metrics") << "could not write " << path << ": " << error_text(error)
                            << ", trying again";
    } else if (error == 0 && failing) {
        log_line("metrics") << path << " is written again";
    }
    failing = error != 0;
    written = written || !failing;
}

/** @return 0 or the error number */
int MetricsThread::replace_file(const std::string& text) {
    const char* const made = path_while_writing.c_str();
    util::unique_fd file(
        ::open(made, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, everybody_reads));
    if (!file) {
        return errno;
    }
    // The umask is meant for the control socket; whoever collects metrics is another user.
    if (::fchmod(file.get(), everybody_reads) == 0 &&
        write_all(file.get(), text.data(), text.size()) && ::rename(made, path.c_str()) == 0) {
        return 0;
    }
    const int error = errno;
    ::unlink(made);
    return error;
}

} // namespace vocalink
