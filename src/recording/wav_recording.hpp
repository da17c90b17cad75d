// SPDX-License-Identifier: GPL-3.0-or-later
// A recording of linear samples as a WAV file.
#pragma once

#include "recording/record_sink.hpp"

#include <cstdint>
#include <span>
#include <string>

namespace vocalink {

/** Writes frames of samples to a WAV file (RIFF, 16-bit PCM, 8 kHz, mono) whose header is valid
 *  whenever a block has been written, twice a second. Announced, finished and moved as any
 *  recording. Its owner destroys it to finish the file. Loop thread only. */
class wav_recording {
  public:
    /** Begins to record, and has the file opened meanwhile.
     *  @param owner  name of the connection that gets the notices
     *  @param name  recording name, the first part of the file name; one with a slash is refused
     *  @param stream_id  for the notices
     *  @param opened  called once on the loop, with 0 or an error number; perhaps after this
     *                 recording has ended. After an error nothing can be recorded */
    wav_recording(std::string owner, std::string name, std::string stream_id,
                  record_sink::opened_handler opened);
    wav_recording(const wav_recording&) = delete;
    wav_recording& operator=(const wav_recording&) = delete;
    ~wav_recording();

    /** Where the file will be in the end. */
    [[nodiscard]] std::string get_path() const { return sink.store_path(); }

    /** Adds samples without waiting. Samples that come while the file writer is too far behind become
     *  silence.
     *  @param samples  linear, host order, at most 240 */
    void append(std::span<const std::int16_t> samples);

    /** Adds that many frames of silence, of 160 samples each. */
    void append_silence(std::uint32_t frames);

  private:
    const std::string name;
    record_sink sink;
    long long dropped = 0; // frames
};

} // namespace vocalink
