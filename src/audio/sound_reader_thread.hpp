// SPDX-License-Identifier: GPL-3.0-or-later
// The worker that reads sound files.
#pragma once

#include "audio/sound_frames.hpp"
#include "util/msg_queue_thread.hpp"
#include "util/newest_instance.hpp"
#include "util/process_request.hpp"

#include <functional>
#include <memory>
#include <utility>

namespace vocalink {

/** Opens, reads and closes the sound files that are played. A slow disk costs frames of the files on
 *  it and stops nothing else. Singleton, owned by main. */
class SoundReaderThread : public util::MsgQueueThread,
                          public util::newest_instance<SoundReaderThread> {
  public:
    SoundReaderThread();

    /** Told how an opening went: gets the file, or null. */
    using opened_handler = std::function<void(std::shared_ptr<sound_frames> opened)>;

    /** Opens a file, reads its beginning, and tells the loop. Loop thread. */
    void open(std::shared_ptr<sound_frames> frames, opened_handler done);
    /** Reads the next block. Loop thread. */
    void read_ahead(std::shared_ptr<sound_frames> frames);
    /** Closes a file that its player has let go. Loop thread. */
    void close(std::shared_ptr<sound_frames> frames);

  protected:
    void handle_request(util::ProcessRequest* request) override;
};

} // namespace vocalink
