// SPDX-License-Identifier: GPL-3.0-or-later
// The loop's end of a recording's file.
#pragma once

#include "recording/record_block.hpp"
#include "recording/recording_file.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace vocalink {

/** Takes the records of one recording and hands them to the file writer: the first one at once, for
 *  the notice, all others in blocks, of 64 KiB or of half a second. So a record costs the loop one
 *  append, and a killed daemon little. Destroying it finishes the file. Loop thread only. */
class record_sink {
  public:
    /** Called once on the loop: the file has been opened, or could not be for an error number other
     *  than 0. It may come after the sink's end. */
    using opened_handler = std::function<void(int error)>;

    /** Has the file writer open the file and write its header. Records are taken from now on. */
    record_sink(std::unique_ptr<recording_file> file, opened_handler opened);
    record_sink(const record_sink&) = delete;
    record_sink& operator=(const record_sink&) = delete;
    ~record_sink();

    /** Keeps records back until release(), so that no notice of data overtakes the reply that names
     *  the file. */
    void hold() { held = true; }
    void release();

    /** Adds one record of two parts. @return false, adding nothing, while the writer is behind */
    [[nodiscard]] bool append(std::span<const char> prefix, std::span<const char> body);

    /** Adds copies of a frame, also while the writer is behind: they take no memory. An hour of
     *  frames of 20 ms is the most that is taken then.
     *  @return false, adding nothing, beyond that */
    [[nodiscard]] bool append_copies(std::span<const char> frame, std::uint32_t copies);

    /** Hands over what is gathered, or waits for another turn while the writer is behind. */
    void take_turn();

    /** Where the file will be in the end. */
    [[nodiscard]] std::string store_path() const { return file->store_path(); }

  private:
    [[nodiscard]] bool is_full() const;
    [[nodiscard]] bool must_wait() const;
    void hand_over();
    void queue_block();

    const std::shared_ptr<recording_file> file;
    record_block block;
    bool has_data = false; // a record has been handed over
    bool held = false;
    bool awaits_turn = false; // the writer's timer will come to the block
};

} // namespace vocalink
