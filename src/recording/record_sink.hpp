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

    /** Has the file writer open the file, unless it is open, and write its header. Records are taken
     *  from now on.
     *  @param opened  may be null */
    record_sink(std::unique_ptr<recording_file> file, opened_handler opened);
    record_sink(const record_sink&) = delete;
    record_sink& operator=(const record_sink&) = delete;
    ~record_sink();

    /** Adds one record of two parts. @return false, adding nothing, while the writer is behind */
    [[nodiscard]] bool append(std::span<const char> prefix, std::span<const char> body);

    /** Adds copies of a frame, also while the writer is behind: they take no memory. An hour of
     *  frames of 20 ms is the most that is taken then.
     *  @return false, adding nothing, beyond that */
    [[nodiscard]] bool append_copies(std::span<const char> frame, std::uint32_t copies);

    /** Hands over what is gathered, or waits for another turn while the writer is behind. */
    void take_turn();

    /** Whether the file was open from the start. */
    [[nodiscard]] bool is_open() const { return opened_before; }
    /** Where the file will be in the end. */
    [[nodiscard]] std::string store_path() const { return file->store_path(); }

  private:
    [[nodiscard]] bool is_full() const;
    [[nodiscard]] bool writer_is_behind() const;
    void hand_over();
    void queue_block();

    const std::shared_ptr<recording_file> file;
    const bool opened_before;
    record_block block;
    bool has_data = false;    // a record has been handed over
    bool awaits_turn = false; // the writer's timer will come to the block
};

} // namespace vocalink
