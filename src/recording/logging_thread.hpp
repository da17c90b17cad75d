// SPDX-License-Identifier: GPL-3.0-or-later
// The worker that writes recording files.
#pragma once

#include "recording/process_request.hpp"
#include "recording/recording_file.hpp"
#include "util/msg_queue_thread.hpp"

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <string>

namespace vocalink {

/** Does every file operation of every recording after its opening, in the order asked, announces
 *  the first data of each, and hands finished files to the mover. Singleton, owned by main. */
class LoggingThread : public util::MsgQueueThread {
  public:
    LoggingThread();

    /** The instance made last. */
    [[nodiscard]] static LoggingThread& instance();

    /** Queues data for a file, unless the writer is so far behind that 128 MiB wait for it, or 16 MiB
     *  for this file, or several fillings of silence: memory must not grow with a disk that is stuck,
     *  and no recording may take the others' share. Loop thread.
     *  @return whether it was queued; if not, the request is gone */
    [[nodiscard]] bool queue_data(std::unique_ptr<DataRequest> request);

  protected:
    void handle_request(ProcessRequest* request) override;
    void handle_batch_end() override;
    void handle_idle() override;

  private:
    /** What the writer knows of one file. */
    struct open_file {
        std::unique_ptr<recording_file> file;
        std::string owner; // connection that gets the notices
        std::string file_name;
        std::string info; // stream id
        bool started;     // has been announced
    };

    void process_openfile(OpenFileRequest& request);
    void process_writeheader(const WriteFileHeaderRequest& request);
    void process_write(const WriteFileRequest& request);
    void process_silence(const WriteSilenceRequest& request);
    void process_close(const CloseFileRequest& request);
    open_file& file_of(const FileRequest& request);
    open_file& announced(const DataRequest& request);
    void flush_files();
    void report_write_error(const open_file& opened);

    std::map<const recording_file*, open_file> files; // the worker's alone
    bool write_error_reported = false;                // one line for the whole process
    std::chrono::steady_clock::time_point last_flush;
    std::atomic<long long> waiting_bytes = 0; // of memory, in data requests
};

} // namespace vocalink
