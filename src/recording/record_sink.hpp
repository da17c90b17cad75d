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

/** Takes the records of one recording and hands them to the file writer. The first record goes at
 *  once, for the notice; the others go in blocks of 64 KiB or half a second, or longer where there are
 *  hundreds of recordings. So a record costs the loop one append, and a killed daemon loses little.
 *  Destroying it finishes the file. Loop thread only. */
class record_sink {
  public:
    /** Called once on the loop, with 0 when the file is open or else the error number. The sink may
     *  have ended by then. */
    using opened_handler = std::function<void(int error)>;

    /** Has the file writer open the file and write its header. Records are taken from now on. */
    record_sink(std::unique_ptr<recording_file> file, opened_handler opened);
    record_sink(const record_sink&) = delete;
    record_sink& operator=(const record_sink&) = delete;
    ~record_sink();

    /** Keeps records until release(), so that the reply that names the file comes before the notice
     *  of its data. */
    void hold() { held = true; }
    void release();

    /** Adds one record of two parts. @return false, adding nothing, while the writer is behind */
    [[nodiscard]] bool append(std::span<const char> prefix, std::span<const char> body);

    /** Adds copies of a frame. They take no memory, so up to an hour of 20 ms frames is accepted
     *  while the writer is behind.
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
