// SPDX-License-Identifier: GPL-3.0-or-later
// The worker that writes the metrics file.
#pragma once

#include "control/metrics_snapshot.hpp"
#include "util/msg_queue_thread.hpp"

#include <string>

namespace vocalink {

/** Replaces the file as a whole, so that nobody ever reads a part of one. A file that cannot be
 *  written is logged once and tried again with the next snapshot. Owned by metrics. */
class MetricsThread : public util::MsgQueueThread {
  public:
    /** @param socket  path of the listen socket, for the samples */
    MetricsThread(std::string path, std::string socket);

    /** Has the figures written. Loop thread. */
    void write(metrics_snapshot figures);

    /** Removes the file, if this has written one. Not while the worker runs. */
    void remove_file();

  protected:
    void handle_request(util::ProcessRequest* request) override;

  private:
    [[nodiscard]] int replace_file(const std::string& text);

    const std::string path;
    const std::string path_while_writing;
    const std::string socket;
    bool written = false; // once
    bool failing = false; // since the last file
};

} // namespace vocalink
