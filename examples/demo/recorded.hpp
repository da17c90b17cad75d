// SPDX-License-Identifier: GPL-3.0-or-later
// Recordings that the daemon makes, from their start to the files that they leave.
#pragma once

#include "dialogue.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace vocalink::demo {

/** What a file of recorded packets has to measure. */
struct recorded_size {
    std::size_t header_bytes = 0; ///< of the whole file
    std::size_t packets = 0;
    std::size_t bytes_per_packet = 0; ///< what stands in the file for each
};

/** One recording of one stream. */
class recording {
  public:
    /** Has the daemon begin it.
     *  @param type  "pcap", "ulaw_in" or another of the command's words */
    recording(dialogue& control, std::string stream, const std::string& name,
              const std::string& type, const std::string& remark);

    /** Waits for the notice that the first packet has been recorded. */
    void hear_start(dialogue& control) const;

    /** Waits for the notice that the file is complete and in its place. */
    void hear_end(dialogue& control) const;

    /** Shows the file and its size. To be called when it is in its place.
     *  @return what is wrong with it, if anything */
    [[nodiscard]] std::vector<std::string> check(const recorded_size& expected) const;

    /** Where the file will be in the end. */
    [[nodiscard]] const std::string& path() const { return file_path; }

  private:
    std::string stream_id;
    std::string file_path;
};

} // namespace vocalink::demo
